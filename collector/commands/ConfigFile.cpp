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

/// Whether the command has the option and takes any number of values for it.
bool has_list(const CLI::App& command, const std::string& name) {
  return has_option(command, name) && command.get_option("--" + name)->get_multi_option_policy() ==
                                          CLI::MultiOptionPolicy::TakeAll;
}

/// Adds the paths of all commands below `app` that have the option, as `has` has it.
template <typename Has>
void find_commands(const CLI::App& app, const std::string& option, Has has, const CommandPath& path,
                   std::vector<CommandPath>& found) {
  if (!path.empty() && has(app, option)) found.push_back(path);
  for (const CLI::App* command : app.get_subcommands({})) {
    // Groups of options are commands without a name; the command above has found theirs.
    if (command->get_name().empty()) continue;
    CommandPath longer = path;
    longer.push_back(command->get_name());
    find_commands(*command, option, has, longer, found);
  }
}

/// The paths of the commands that the item is for. A list is for those that take lists: several
/// products are the server's, and other commands have the product named on the command line.
std::vector<CommandPath> commands_for(const CLI::App& app, const CLI::ConfigItem& item) {
  std::vector<CommandPath> found;
  if (item.inputs.size() > 1) find_commands(app, item.name, has_list, {}, found);
  if (found.empty()) find_commands(app, item.name, has_option, {}, found);
  return found;
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

void parse(CommandPath command, const std::vector<CLI::ConfigItem>& items) {
  CLI::App app;
  Command ignored;
  add_commands(app, ignored);
  for (const CLI::ConfigItem& item : items) {
    for (const std::string& value : item.inputs) command.push_back("--" + item.name + "=" + value);
  }
  std::ranges::reverse(command);
  app.parse(command);
}

/// What the command line says to an option of the command, or nothing if it takes it.
std::string complaint_about(const CommandPath& command, const CLI::ConfigItem& item) {
  try {
    parse(command, {item});
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

/// What the server says to its options together, or nothing if it takes them. It needs no option
/// for itself, but some need another one.
std::string complaint_of_server(const std::vector<CLI::ConfigItem>& items) {
  try {
    parse({"serve"}, items);
  } catch (const CLI::ParseError& error) {
    return error.what();
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
    const std::vector<CommandPath> commands = commands_for(app_, item);
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
  std::vector<CLI::ConfigItem> of_server;
  for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_file(path)) {
    const std::vector<CommandPath> commands = commands_for(app, item);
    if (std::ranges::find(commands, CommandPath{"serve"}) != commands.end()) {
      of_server.push_back(item);
    }
    for (const CommandPath& command : commands) {
      const std::string complaint = complaint_about(command, item);
      if (complaint.empty()) continue;
      problems.push_back(path);
      problems.back() += ": " + complaint;
      break;
    }
  }
  if (!problems.empty()) return problems;
  const std::string complaint = complaint_of_server(of_server);
  if (!complaint.empty()) problems.push_back(path + ": " + complaint);
  return problems;
}

}  // namespace pelto::collector
