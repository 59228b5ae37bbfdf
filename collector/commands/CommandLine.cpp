#include "collector/commands/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <memory>

#include "collector/commands/ConfigFile.h"

namespace pelto::collector {

namespace {

constexpr char program_name[] = "pelto-collector";

/// One line, whatever the text has.
std::string as_one_line(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  return text;
}

int fail(const std::string& text) {
  std::cerr << program_name << ": " << as_one_line(text) << std::endl;
  return 1;
}

/// The program's options, and none of its commands yet.
void add_program_options(CLI::App& app) {
  app.name(program_name);
  app.require_subcommand(1);
  // Commands take the options of the program, too.
  app.fallthrough();
  app.set_version_flag("--version", std::string(program_name) + " " PELTO_VERSION);
  app.set_config("--config", "", "Take options from this file, too")->type_name("FILE");
  app.config_formatter(std::make_shared<ConfigFormat>(app));
}

int run_parsed(int argc, const char* const* argv) {
  CLI::App app("Receives the reports of PELTOSender and shows what they say");
  Command chosen;
  add_program_options(app);
  add_commands(app, chosen);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& request) {
    return app.exit(request);
  } catch (const CLI::ParseError& error) {
    return fail(std::string(error.what()) + "; see " + program_name + " --help");
  }
  const int status = chosen();
  if (!std::cout.flush()) return fail("standard output cannot be written; check where it goes");
  return status;
}

}  // namespace

void add_commands(CLI::App& app, Command& chosen) {
  add_serve_command(app, chosen);
  add_figures_command(app, chosen);
  add_import_command(app, chosen);
  add_export_command(app, chosen);
  add_erase_command(app, chosen);
  add_user_command(app, chosen);
  add_backup_command(app, chosen);
  add_check_command(app, chosen);
  add_fleet_command(app, chosen);
}

int run_command_line(int argc, const char* const* argv) noexcept {
  try {
    return run_parsed(argc, argv);
  } catch (const std::bad_alloc&) {
    return fail("there is not enough memory; free some and try again");
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}

}  // namespace pelto::collector
