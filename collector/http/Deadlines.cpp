#include "collector/http/Deadlines.h"

#include <algorithm>

namespace pelto::collector {

Deadlines::Duration body_allowance(const Deadlines& deadlines, std::size_t bytes) {
  if (deadlines.body_rate == 0) return deadlines.body;
  const auto limit = static_cast<std::size_t>(deadlines.body.count());
  // Bytes that allow more than the limit are cut first: the product below cannot overflow then.
  const std::size_t counted = std::min(bytes, (limit / 1000 + 1) * deadlines.body_rate);
  const Deadlines::Duration earned(
      static_cast<Deadlines::Duration::rep>(counted * 1000 / deadlines.body_rate));
  return std::min(deadlines.body, std::max(deadlines.body_start, earned));
}

}  // namespace pelto::collector
