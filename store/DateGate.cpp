#include "store/DateGate.h"

double ComputeAgeInSeconds(std::uint64_t now, std::uint64_t stored) {
  return static_cast<double>(now - stored) * 1e-7;
}

bool IsGateOpen(std::uint64_t now, std::optional<std::uint64_t> stored, double limit) {
  return !stored || !(limit > ComputeAgeInSeconds(now, *stored));
}
