#include "store/SystemProperties.h"

bool SystemPropertyOrder::operator()(const SystemPropertyKey& a, const SystemPropertyKey& b) const {
  const int byJoinedText = (a.name + a.category).compare(b.name + b.category);
  return byJoinedText != 0 ? byJoinedText < 0 : a.name < b.name;
}
