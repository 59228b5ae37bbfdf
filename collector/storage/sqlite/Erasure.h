// Erasing installations.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Connection.h"
#include "collector/storage/sqlite/Keeping.h"
#include "collector/storage/sqlite/Traces.h"

namespace pelto::collector {

/// The numbers in the table `state` of the last transaction that erased something, and of the last
/// one whose traces are removed. Both only grow, as several processes erase.
inline constexpr char erasures_state[] = "traces";
inline constexpr char removed_state[] = "traces_removed";

/// What was erased in one transaction.
struct Erasure {
  ErasedCounts counts;
  /// How many of the first installations are done with.
  std::size_t done = 0;
  /// Its number, see `erasures_state`; 0 if nothing was erased.
  std::int64_t number = 0;
  /// The texts that are gone from the storage.
  std::vector<ErasedText> texts;
};

/// Erases installations, given by their numbers, from every table and sum, in one transaction of
/// its own. `is_due` is asked within it; those that are not due stay. Ends after `time` and after
/// one report at least: a large installation takes several steps, and its name goes in the last
/// one. In between, what is left of it is consistent. Throws `SQLite::Exception` and
/// `StorageError`.
Erasure erase_step(Connection& connection, Keeper& keeper,
                   std::span<const std::int64_t> installations,
                   std::chrono::steady_clock::duration time,
                   const std::function<bool(Connection&, std::int64_t)>& is_due);

}  // namespace pelto::collector
