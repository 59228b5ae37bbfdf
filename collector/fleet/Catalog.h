// What the simulated users work with: the application's commands in their languages, file types,
// and the machines that are around.
#pragma once

#include <string>
#include <vector>

#include "collector/fleet/Random.h"
#include "collector/report/Report.h"

namespace pelto::collector {

/// The number of the application's commands. They are numbered by popularity.
inline constexpr int command_count = 400;

/// A language of the application and of the machine.
struct Language {
  /// As the machine's property "Locale" has it.
  const char* locale;
  int code_page;
  /// In the name of the system, as "Microsoft Windows 10 Pro".
  const char* system_maker;
  const char* system_edition;
  /// The share of installations with it, in a thousand. Together they are 1000.
  int share;
};

const std::vector<Language>& languages();

/// The name of a command in a language, in UTF-8. One in 25 has a translated name, the others have
/// the same in every language. Every name can be written in the language's code page.
std::string command_name(int language, int command);

/// A file type, and how many of a thousand installations work with it.
struct FileType {
  const char* name;
  int share;
  /// Whether the text is no plain extension but may hold part of a path.
  bool is_odd;
};

const std::vector<FileType>& file_types();

/// The properties of a new machine, in the order in which a report has them. `adapter` is the
/// machine's hardware address.
std::vector<MachineValue> make_machine(Random& random, const Language& language);

}  // namespace pelto::collector
