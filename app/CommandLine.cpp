#include "app/CommandLine.h"

#include <algorithm>
#include <span>

namespace {

/// An argument after the mode word: its member, and whether it may be empty.
struct Parameter {
  std::wstring CommandLine::*target;
  bool mayBeEmpty = false;
};

constexpr Parameter LogHandleParameters[] = {{&CommandLine::dataFolder}, {&CommandLine::logFolder}};
constexpr Parameter DutyParameters[] = {{&CommandLine::uploadAddress},
                                        {&CommandLine::dataFolder},
                                        {&CommandLine::applicationName, true},
                                        {&CommandLine::applicationPath, true}};
constexpr Parameter DialogParameters[] = {{&CommandLine::dataFolder}};

struct Mode {
  const wchar_t* word;
  RunMode mode;
  std::span<const Parameter> parameters;
};

constexpr Mode Modes[] = {
    {L"log_handle", RunMode::LogHandle, LogHandleParameters},
    {L"duty", RunMode::Duty, DutyParameters},
    {L"dlg", RunMode::Dialog, DialogParameters},
};

}  // namespace

std::optional<CommandLine> ParseCommandLine(const std::vector<std::wstring>& arguments) {
  constexpr size_t leading = 2;  // the program's path and the mode word
  if (arguments.size() < leading) return {};
  const Mode* const mode = std::ranges::find(Modes, arguments[1], &Mode::word);
  if (mode == std::end(Modes) || arguments.size() < leading + mode->parameters.size()) return {};

  CommandLine result{mode->mode, {}, {}, {}, {}, {}};
  for (size_t i = 0; i < mode->parameters.size(); ++i) {
    const Parameter& parameter = mode->parameters[i];
    const std::wstring& argument = arguments[leading + i];
    if (argument.empty() && !parameter.mayBeEmpty) return {};
    result.*parameter.target = argument;
  }
  return result;
}
