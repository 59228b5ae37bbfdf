// The gates that keep a step from running more often than it should.
#pragma once

#include <cstdint>
#include <optional>

/// Limits in seconds.
inline constexpr double TransmissionLimit = 2'419'200;       // 28 days
inline constexpr double SystemInformationLimit = 2'592'000;  // 30 days
inline constexpr double DialogLimit = 604'800;               // 7 days

/// The seconds from `stored` to `now`, both counts of 100 nanoseconds. A `stored` that lies in the
/// future wraps around to a very large age, on purpose: a date that was written under a wrong
/// clock must not close a gate for years.
double ComputeAgeInSeconds(std::uint64_t now, std::uint64_t stored);

/// Whether a gate is open that was last passed at `stored` (none: never) and opens again `limit`
/// seconds later. At exactly the limit it is open.
bool IsGateOpen(std::uint64_t now, std::optional<std::uint64_t> stored, double limit);
