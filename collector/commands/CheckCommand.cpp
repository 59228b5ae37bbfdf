#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "collector/commands/CommandLine.h"
#include "collector/commands/ConfigFile.h"
#include "collector/commands/DataFolder.h"

namespace pelto::collector {

namespace {

struct Options {
  DataOptions data;
  /// Empty without a configuration file.
  std::string config;
};

int run(const Options& options) {
  std::vector<std::string> problems;
  if (!options.config.empty()) problems = find_config_problems(options.config);
  if (!problems.empty()) {
    for (const std::string& problem : problems) std::cout << problem << '\n';
    throw CommandError("the configuration file has wrong values; correct them");
  }
  problems = open_storage(options.data)->check();
  if (!problems.empty()) {
    for (const std::string& problem : problems) std::cout << problem << '\n';
    throw CommandError("the data is damaged; restore a backup, or export and import it anew");
  }
  if (!options.config.empty()) std::cout << "The configuration file can be used.\n";
  std::cout << "The storage is consistent, and its sums are equal to a recount.\n";
  return 0;
}

}  // namespace

void add_check_command(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand(
      "check", "Check the data against a recount, and the configuration file if one is named");
  add_data_option(*command, options->data);
  command->callback([&app, &chosen, options] {
    const CLI::Option* const config = app.get_config_ptr();
    if (config != nullptr && config->count() > 0) options->config = config->as<std::string>();
    chosen = [options] { return run(*options); };
  });
}

}  // namespace pelto::collector
