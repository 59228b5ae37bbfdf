#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <system_error>

#include "collector/commands/CommandLine.h"
#include "collector/commands/DataFolder.h"

namespace pelto::collector {

namespace {

struct Options {
  DataOptions data;
  std::filesystem::path file;
};

int run(const Options& options) {
  std::error_code ignored;
  if (std::filesystem::exists(options.file, ignored)) {
    throw CommandError(options.file.string() + " exists already; name a new file");
  }
  open_storage(options.data)->back_up(options.file);
  return 0;
}

}  // namespace

void add_backup_command(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command =
      app.add_subcommand("backup", "Copy the data into a new file, also while the server runs");
  command->add_option("file", options->file, "The new file")->required();
  add_data_option(*command, options->data);
  command->callback([&chosen, options] { chosen = [options] { return run(*options); }; });
}

}  // namespace pelto::collector
