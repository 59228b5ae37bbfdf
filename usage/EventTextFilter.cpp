#include "usage/EventTextFilter.h"

const EventTextFilter& EventTextFilter::GetInstance() {
  static const EventTextFilter& filter = *new EventTextFilter;
  return filter;
}
