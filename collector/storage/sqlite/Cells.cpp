#include "collector/storage/sqlite/Cells.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Bytes.h"

namespace pelto::collector {

namespace {

Installations make_set(std::vector<Number>& numbers) {
  std::ranges::sort(numbers);
  Installations set;
  set.addMany(numbers.size(), numbers.data());
  return set;
}

/// Those that are in a sorted list more than once.
Installations repeated_in(const std::vector<Number>& numbers) {
  Installations set;
  for (std::size_t i = 1; i < numbers.size(); ++i) {
    if (numbers[i] == numbers[i - 1]) set.add(numbers[i]);
  }
  return set;
}

/// A set that is that of all installations is not kept.
std::optional<Installations> make_part(std::vector<Number>& numbers, const Installations& whole) {
  Installations part = make_set(numbers);
  if (part == whole) return std::nullopt;
  return part;
}

/// Makes one of each place's entries in a sorted list.
void sum_places(Places& places) {
  std::size_t last = 0;
  for (std::size_t i = 1; i < places.size(); ++i) {
    if (places[i].first == places[last].first) {
      places[last].second += places[i].second;
    } else {
      places[++last] = places[i];
    }
  }
  if (!places.empty()) places.resize(last + 1);
  std::erase_if(places, [](const auto& entry) { return entry.second == 0; });
}

/// `mine` and `other` are parts of `mine_whole` and `other_whole`.
void add_part(std::optional<Installations>& mine, const Installations& mine_whole,
              const std::optional<Installations>& other, const Installations& other_whole) {
  if (!mine && !other) return;
  if (!mine) mine = mine_whole;
  *mine |= other ? *other : other_whole;
}

}  // namespace

std::string bytes_of(const Installations& set) {
  std::string bytes(set.getSizeInBytes(), '\0');
  set.write(bytes.data());
  return bytes;
}

Installations read_installations(std::string_view bytes) {
  roaring_bitmap_t* const set =
      roaring_bitmap_portable_deserialize_safe(bytes.data(), bytes.size());
  if (set == nullptr) {
    throw StorageError("a stored sum is damaged; run check, and restore a backup");
  }
  // Takes the set over.
  return {set};
}

std::string bytes_of(const Places& places) {
  ByteWriter writer;
  std::int64_t last = 0;
  for (const auto& [place, reports] : places) {
    writer.number(static_cast<std::uint64_t>(place - last));
    writer.signed_number(reports);
    last = place;
  }
  return writer.bytes();
}

Places read_places(std::string_view bytes) {
  Places places;
  ByteReader reader(bytes);
  std::int64_t place = 0;
  while (!reader.rest().empty()) {
    const std::uint64_t step = reader.number();
    if (step > static_cast<std::uint64_t>(largest_count - place)) {
      throw StorageError("a stored sum is damaged; run check, and restore a backup");
    }
    place += static_cast<std::int64_t>(step);
    const std::int64_t reports = reader.signed_number();
    places.emplace_back(place, reports);
  }
  return places;
}

Places add_places(const Places& left, const Places& right) {
  Places all;
  all.reserve(left.size() + right.size());
  std::ranges::merge(left, right, std::back_inserter(all));
  sum_places(all);
  return all;
}

void SumCell::add(Kind kind, const SumCell& other) {
  reports += other.reports;
  first_sum += other.first_sum;
  second_sum += other.second_sum;
  if (kind == Kind::described) {
    const Installations both = installations & other.installations;
    first_set = first() | other.first() | both;
  } else {
    add_part(first_set, installations, other.first_set, other.installations);
    add_part(second_set, installations, other.second_set, other.installations);
  }
  installations |= other.installations;
  places = add_places(places, other.places);
}

void SumCell::remove(const Installations& gone) {
  installations -= gone;
  if (first_set) *first_set -= gone;
  if (second_set) *second_set -= gone;
}

void CellBuilder::put(const StoredReport& report, std::int64_t sign, bool is_marked) {
  Items& items = groups_[report.group];
  const auto item = [&](Kind kind, Number number) -> Item& {
    Item& found = items[(std::uint64_t{number} << 8U) | static_cast<std::uint64_t>(kind)];
    found.reports += sign;
    if (is_marked) found.installations.push_back(report.installation);
    return found;
  };
  const auto needs = [&](Kind kind) { return !needs_ || needs_(kind); };
  const NumberedReport& counts = report.counts;

  if (needs(Kind::report)) item(Kind::report, 0);
  if (needs(Kind::described) && !counts.machine.empty()) item(Kind::described, 0);
  if (needs(Kind::command)) {
    for (const auto& command : counts.commands) {
      Item& found = item(Kind::command, command.name);
      found.first_sum += sign * command.uses;
      if (command.order == 0) continue;
      if (is_marked) found.first_set.push_back(report.installation);
      if (sign != 0) found.places.emplace_back(command.order, sign);
    }
  }
  if (needs(Kind::file_type)) {
    for (const auto& file_type : counts.file_types) {
      Item& found = item(Kind::file_type, file_type.name);
      found.first_sum += sign * file_type.opened;
      found.second_sum += sign * file_type.saved;
      if (!is_marked) continue;
      if (file_type.opened > 0) found.first_set.push_back(report.installation);
      if (file_type.saved > 0) found.second_set.push_back(report.installation);
    }
  }
  if (needs(Kind::machine)) {
    for (const auto& property : counts.machine) item(Kind::machine, property.name);
  }
}

CellBuilder::Cells CellBuilder::take_cells() {
  Cells cells;
  for (auto& [group, items] : groups_) {
    for (auto& [key, item] : items) {
      const auto kind = static_cast<Kind>(key & 0xFFU);
      SumCell& cell = cells[{kind, static_cast<Number>(key >> 8U)}][group];
      cell.reports = item.reports;
      cell.first_sum = item.first_sum;
      cell.second_sum = item.second_sum;
      cell.installations = make_set(item.installations);
      if (kind == Kind::described) {
        cell.first_set = repeated_in(item.installations);
      } else if (kind == Kind::command) {
        cell.first_set = make_part(item.first_set, cell.installations);
      } else if (kind == Kind::file_type) {
        cell.first_set = make_part(item.first_set, cell.installations);
        cell.second_set = make_part(item.second_set, cell.installations);
      }
      std::ranges::sort(item.places);
      sum_places(item.places);
      cell.places = std::move(item.places);
      item = {};
    }
  }
  groups_.clear();
  return cells;
}

}  // namespace pelto::collector
