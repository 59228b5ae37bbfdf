// The gates that keep a step from running more often than it should.
#pragma once

#include <cstdint>
#include <optional>

/// Limits in seconds.
inline constexpr double TransmissionLimit = 2'419'200;       // 28 days
inline constexpr double SystemInformationLimit = 2'592'000;  // 30 days
inline constexpr double DialogLimit = 604'800;               // 7 days

/// The seconds from `stored` to `now`, both counts of 100 nanoseconds. A `stored` in the future
/// wraps around to a very large age, so that a date written under a wrong clock does not close a
/// gate for years (docs/compatibility.md, 9).
double ComputeAgeInSeconds(std::uint64_t now, std::uint64_t stored);

/// Whether a gate is open that was last passed at `stored` and opens again `limit` seconds later,
/// at exactly the limit. A gate that was never passed (none) is open.
bool IsGateOpen(std::uint64_t now, std::optional<std::uint64_t> stored, double limit);
