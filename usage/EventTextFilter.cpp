#include "usage/EventTextFilter.h"

const EventTextFilter& EventTextFilter::Instance() {
  static const EventTextFilter& filter = *new EventTextFilter;
  return filter;
}
