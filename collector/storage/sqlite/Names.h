// The dictionary: texts that many reports share, by number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <roaring/roaring.hh>

#include "collector/report/Report.h"
#include "collector/storage/sqlite/Connection.h"

namespace pelto::collector {

using Number = std::uint32_t;

/// What a number in the dictionary or a cell of sums is about. The values are in the file.
enum class Kind : std::uint8_t {
  /// Cells alone: a report, and one that describes the machine.
  report = 0,
  described = 1,
  command = 2,
  file_type = 3,
  /// A property of a machine and the value under which it is counted.
  machine = 4,
  /// The dictionary alone: application and version.
  version = 5,
};

/// Several texts as one, and back.
std::string join_texts(std::string_view first, std::string_view second);
std::pair<std::string, std::string> split_texts(std::string_view joined);
/// Application and version.
struct Version {
  std::string application;
  std::string version;
};
/// Of a text of the dictionary; none if it is damaged.
std::optional<Version> split_version(std::string_view joined);

/// The text under which a property's value is counted, and back.
std::string join_property(const MachineValue& property);
MachineValue split_property(std::string_view joined);

/// A keyed hash of a text, for indexes: the text cannot be read from it or found by it.
class TextHash {
 public:
  explicit TextHash(Connection& connection);
  std::int64_t operator()(std::string_view text) const;

 private:
  std::string key_;
};

/// The names of one connection, with a cache of limited size. Throws `SQLite::Exception`, and
/// `StorageError` for a number that names nothing.
class Names {
 public:
  explicit Names(Connection& connection) : connection_(connection), hash_(connection) {}

  /// The number of a text; 0 if it is not in the dictionary.
  Number find(Kind kind, std::string_view text);
  /// The number of a text, which is added if it is not there. For the writer.
  Number add(Kind kind, std::string_view text);
  const std::string& text_of(Number number);
  /// Whether the dictionary has a text of this number and kind.
  bool knows(Kind kind, Number number);

  /// Notes that `change` more reports mention the text.
  void use(Number number, std::int64_t change) { uses_[number] += change; }
  /// What was noted.
  const std::map<Number, std::int64_t>& noted() const { return uses_; }
  /// Writes what was noted, and removes names that no report mentions any more. Returns the texts
  /// of those. Nothing is taken from what the dictionary does not have.
  std::vector<std::string> write_uses();

  /// Forgets everything that was read or noted: the file has changed, or a change was taken back.
  void forget();

 private:
  void remember(Kind kind, Number number, std::string_view text);
  /// Null without one.
  const std::string* find_text(Number number);

  Connection& connection_;
  TextHash hash_;
  std::map<Kind, std::unordered_map<std::string, Number>> numbers_;
  std::unordered_map<Number, std::string> texts_;
  /// Numbers that are in the dictionary. Reports mention them so often that looking into the file
  /// for each would show.
  std::map<Kind, ::Roaring> known_;
  std::size_t cached_bytes_ = 0;
  std::map<Number, std::int64_t> uses_;
};

/// What a number of the dictionary is about; none if the number or its text is damaged. Throws
/// `SQLite::Exception`.
std::optional<Version> find_version(Names& names, Number number);
std::optional<MachineValue> find_property(Names& names, Number number);

}  // namespace pelto::collector
