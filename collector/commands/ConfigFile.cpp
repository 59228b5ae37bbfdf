#include "collector/commands/ConfigFile.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "collector/commands/CommandLine.h"

namespace pelto::collector {

namespace {

/// The names of a command and those above it, as on the command line.
using CommandPath = std::vector<std::string>;

bool has_option(const CLI::App& command, const std::string& name) {
  const CLI::Option* const option = command.get_option_no_throw("--" + name);
  return option != nullptr && option->get_configurable();
}

/// Adds the paths of all commands below `app` that have the option.
void find_commands(const CLI::App& app, const std::string& option, const CommandPath& path,
                   std::vector<CommandPath>& found) {
  if (!path.empty() && has_option(app, option)) found.push_back(path);
  for (const CLI::App* command : app.get_subcommands({})) {
    // Groups of options are commands without a name; the command above has found theirs.
    if (command->get_name().empty()) continue;
    CommandPath longer = path;
    longer.push_back(command->get_name());
    find_commands(*command, option, longer, found);
  }
}

/// The command that the command line names.
CommandPath named_command(const CLI::App& app) {
  CommandPath path;
  for (const CLI::App* command = &app; !command->get_subcommands().empty();) {
    command = command->get_subcommands().front();
    path.push_back(command->get_name());
  }
  return path;
}

/// What the command line says to an option of the command, or nothing if it takes it.
std::string complaint_about(const CommandPath& command, const CLI::ConfigItem& item) {
  CLI::App app;
  Command ignored;
  add_commands(app, ignored);
  std::vector<std::string> arguments = command;
  for (const std::string& value : item.inputs) {
    arguments.push_back("--" + item.name + "=" + value);
  }
  std::ranges::reverse(arguments);
  try {
    app.parse(arguments);
  } catch (const CLI::ConversionError& error) {
    return error.what();
  } catch (const CLI::ValidationError& error) {
    return error.what();
  } catch (const CLI::ArgumentMismatch& error) {
    return error.what();
  } catch (const CLI::ParseError&) {
    // Other options are missing, which the file need not have.
    return "";
  }
  return "";
}

}  // namespace

std::vector<CLI::ConfigItem> ConfigFormat::from_config(std::istream& input) const {
  const CommandPath named = named_command(app_);
  std::vector<CLI::ConfigItem> applicable;
  for (CLI::ConfigItem& item : CLI::ConfigTOML::from_config(input)) {
    if (!item.parents.empty()) {
      throw CommandError("the file of --config has the section [" + item.parents.front() +
                         "]; write all options without sections");
    }
    std::vector<CommandPath> commands;
    find_commands(app_, item.name, {}, commands);
    if (commands.empty()) {
      throw CommandError("the file of --config has the option " + item.name +
                         ", which no command has; correct its name or remove it");
    }
    if (std::ranges::find(commands, named) == commands.end()) continue;
    item.parents = named;
    applicable.push_back(std::move(item));
  }
  return applicable;
}

std::vector<std::string> find_config_problems(const std::string& path) {
  CLI::App app;
  Command ignored;
  add_commands(app, ignored);
  std::vector<std::string> problems;
  for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_file(path)) {
    std::vector<CommandPath> commands;
    find_commands(app, item.name, {}, commands);
    for (const CommandPath& command : commands) {
      const std::string complaint = complaint_about(command, item);
      if (complaint.empty()) continue;
      problems.push_back(path);
      problems.back() += ": " + complaint;
      break;
    }
  }
  return problems;
}

}  // namespace pelto::collector
