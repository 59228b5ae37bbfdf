#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

/// Finds entries of the statistics by the bytes of their names.
///
/// A hash table with open addressing. Two names of at most 16 bytes are equal if their lengths and
/// their keys are, so a look at one slot is enough for nearly all of them. Memory: 64 KiB for up to
/// 1,024 names, beyond that 64 to 128 bytes for each name, half as much again while the table
/// grows, and a string for each longer name.
template <typename Entry>
class CEntryTable {
 public:
  /// The entry that was added under `name`, or null.
  ///
  /// By reference: where a view is passed in memory, as on 64-bit Windows, the copy would be read
  /// before it is written through, and the processor would wait for that.
  Entry* Find(const std::string_view& name) const {
    const Key key = MakeKey(name);
    for (std::size_t place = Hash(key, name) >> shift_;; ++place) {
      const Slot& slot = At(place);
      if (slot.key.first == key.first && slot.key.last == key.last && slot.size == name.size() &&
          (name.size() <= ShortSize || HasMiddle(longNames_[slot.longName], name))) {
        return slot.entry;
      }
      if (slot.entry == nullptr) return nullptr;
    }
  }

  /// Adds an entry under a name that has none; a name is shorter than 4 GiB. The entry must outlive
  /// the table.
  void Add(std::string_view name, Entry& entry) {
    if ((used_ + 1) * 2 > slots_.size()) Grow();
    Slot slot{MakeKey(name), &entry, static_cast<std::uint32_t>(name.size()), 0};
    if (name.size() > ShortSize) {
      slot.longName = static_cast<std::uint32_t>(longNames_.size());
      longNames_.emplace_back(name);
    }
    Put(slot, name);
    ++used_;
  }

 private:
  static constexpr std::size_t HalfSize = 4;
  static constexpr std::size_t WordSize = 8;
  static constexpr std::size_t ShortSize = 2 * WordSize;
  static constexpr int FirstBits = 11;
  static constexpr std::uint64_t FirstFactor = 0x9E3779B97F4A7C15;
  static constexpr std::uint64_t LastFactor = 0xC2B2AE3D27D4EB4F;

  /// The first and the last eight bytes of a name, which overlap in one of less than 16 bytes.
  struct Key {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
  };
  /// Without an entry, a slot is free. At least half of the slots are, so that every search ends.
  struct Slot {
    Key key;
    Entry* entry = nullptr;
    std::uint32_t size = 0;
    /// Where in `longNames_` a name of more than 16 bytes is.
    std::uint32_t longName = 0;
  };

  static std::uint64_t LoadWord(const char* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
  }

  static std::uint64_t LoadHalf(const char* bytes) {
    std::uint32_t half;
    std::memcpy(&half, bytes, sizeof half);
    return half;
  }

  /// Loads each word as two halves, because a name of 4 to 7 bytes has no word. Where the inner
  /// halves are is computed, not branched on: no processor predicts the length of the next name.
  static Key MakeKey(std::string_view name) {
    const char* const bytes = name.data();
    const std::size_t size = name.size();
    if (size < HalfSize) {
      Key key;
      for (const char c : name) key.first = key.first << 8 | static_cast<unsigned char>(c);
      return key;
    }
    const std::size_t missing = WordSize - std::min(size, WordSize);
    const char* const middle = bytes + (HalfSize - missing);
    const char* const last = bytes + (size + missing - WordSize);
    return {LoadHalf(bytes) | LoadHalf(middle) << 32,
            LoadHalf(last) | LoadHalf(bytes + (size - HalfSize)) << 32};
  }

  /// The highest bits are the best.
  static std::uint64_t Hash(const Key& key, std::string_view name) {
    std::uint64_t hash = key.first * FirstFactor;
    for (std::size_t i = WordSize; name.size() > ShortSize && i + WordSize < name.size();
         i += WordSize) {
      hash = (hash ^ hash >> 32 ^ LoadWord(name.data() + i)) * FirstFactor;
    }
    return hash + key.last * LastFactor;
  }

  /// Whether two long names of one length and key are equal.
  static bool HasMiddle(const std::string& a, std::string_view b) {
    for (std::size_t i = WordSize; i + WordSize < b.size(); i += WordSize) {
      if (LoadWord(a.data() + i) != LoadWord(b.data() + i)) return false;
    }
    return true;
  }

  const Slot& At(std::size_t place) const { return slots_[place & (slots_.size() - 1)]; }

  void Put(const Slot& slot, std::string_view name) {
    std::size_t place = Hash(slot.key, name) >> shift_;
    while (At(place).entry != nullptr) ++place;
    slots_[place & (slots_.size() - 1)] = slot;
  }

  void Grow() {
    std::vector<Slot> old(slots_.size() * 2);
    old.swap(slots_);
    --shift_;
    for (const Slot& slot : old) {
      if (slot.entry == nullptr) continue;
      // The hash of a short name is that of its key.
      Put(slot,
          slot.size > ShortSize ? std::string_view(longNames_[slot.longName]) : std::string_view());
    }
  }

  /// Their number is a power of two.
  std::vector<Slot> slots_ = std::vector<Slot>(std::size_t{1} << FirstBits);
  int shift_ = 64 - FirstBits;
  std::size_t used_ = 0;
  std::vector<std::string> longNames_;
};
