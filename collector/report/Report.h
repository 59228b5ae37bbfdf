// A report and its delivery as the collector keeps and counts them. All text is UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "collector/report/Calendar.h"

namespace pelto::collector {

struct CommandCount {
  std::string name;
  std::int64_t uses = 0;
  /// The command's place in the order of first use, from 1; 0 if it has none.
  std::int64_t order = 0;

  bool operator==(const CommandCount&) const = default;
};

struct FileTypeCount {
  std::string name;
  std::int64_t opened = 0;
  std::int64_t saved = 0;

  bool operator==(const FileTypeCount&) const = default;
};

/// A property of the machine, as the report has it.
struct MachineValue {
  std::string category;
  std::string name;
  std::string value;

  bool operator==(const MachineValue&) const = default;
};

/// A report in the form in which it is counted, if it is normalized.
struct Report {
  std::string installation;
  std::string application;
  std::string version;
  std::vector<CommandCount> commands;
  std::vector<FileTypeCount> file_types;
  std::vector<MachineValue> machine;
  /// The address that the user entered, or empty. Kept apart from everything else.
  std::string email;
  /// The keyed hash of the network adapter's address, if the operator switched its keeping on.
  std::string adapter_hash;
  /// The report's text without identifier, e-mail address and adapter address; empty if there was
  /// none (a delivery from an export).
  std::string text;
  /// Whether a number was cut to a limit, or an entry was left out for its length.
  bool is_capped = false;

  bool operator==(const Report&) const = default;
};

struct Delivery {
  std::string product;
  /// The delivery's GUID in small letters, 36 characters.
  std::string id;
  Time received{};
  Report report;
};

inline constexpr std::int64_t largest_count = 1'000'000'000;
/// In bytes of UTF-8. A sender's log line, and so each name, is shorter.
inline constexpr std::size_t longest_name = 4096;
/// In bytes of UTF-8. Deliveries without an identifier, or with a longer one, are refused.
inline constexpr std::size_t longest_installation = 128;
inline constexpr char other_file_type[] = "(other)";

/// Brings a report of any origin into the form that is counted: numbers lie between 0 and
/// `largest_count`; of several entries of one name the first counts; names longer than
/// `longest_name` are left out; a file type that is no plain extension counts as `other_file_type`,
/// together with the others of that kind.
void normalize(Report& report);

/// Whether a file type's text is a plain extension: at most 32 characters, without slash,
/// backslash, colon and space. Any other text may hold part of a path.
bool is_plain_extension(std::string_view name);

}  // namespace pelto::collector
