// The rules that keep anybody from being singled out: no number rests on a handful of
// installations, and none that does is the difference of numbers that are shown.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "collector/storage/Counts.h"

namespace pelto::collector {

/// Whether these are some installations, but fewer than the threshold. None are not few: zero rests
/// on nobody.
bool is_few(std::int64_t installations, int threshold);

/// Whether a number on this basis may be shown. With a version selected, the number of the other
/// versions must not rest on few either: it is the difference to the number without a version.
bool may_be_shown(const Basis& basis, int threshold);

/// A number of installations that is a part of a total.
struct Part {
  std::int64_t installations = 0;
  bool is_shown = true;
};

/// Withholds the smallest shown parts until those withheld rest on no few installations in all, and
/// neither does the difference of `total` and the shown ones. Parts that add up to more than the
/// total overlap, and the difference is how many are in several. `total` is the number that is
/// shown for all parts; none if none is shown.
void withhold_differences(std::vector<Part>& parts, std::optional<std::int64_t> total,
                          int threshold);

}  // namespace pelto::collector
