#include "collector/figures/Threshold.h"

#include <cstdlib>

namespace pelto::collector {

namespace {

/// The first of the smallest parts that are shown and not zero; none if there is none.
Part* smallest_shown(std::vector<Part>& parts) {
  Part* smallest = nullptr;
  for (Part& part : parts) {
    if (!part.is_shown || part.installations == 0) continue;
    if (smallest == nullptr || part.installations < smallest->installations) smallest = &part;
  }
  return smallest;
}

}  // namespace

bool is_few(std::int64_t installations, int threshold) {
  return installations > 0 && installations < threshold;
}

bool may_be_shown(const Basis& basis, int threshold) {
  if (basis.installations == 0) return true;
  return !is_few(basis.installations, threshold) && !is_few(basis.elsewhere, threshold);
}

void withhold_differences(std::vector<Part>& parts, std::optional<std::int64_t> total,
                          int threshold) {
  while (true) {
    std::int64_t shown = 0;
    std::int64_t withheld = 0;
    for (const Part& part : parts) (part.is_shown ? shown : withheld) += part.installations;
    const bool is_difference_few = total && is_few(std::abs(*total - shown), threshold);
    if (!is_few(withheld, threshold) && !is_difference_few) return;
    Part* const next = smallest_shown(parts);
    if (next == nullptr) return;
    next->is_shown = false;
  }
}

}  // namespace pelto::collector
