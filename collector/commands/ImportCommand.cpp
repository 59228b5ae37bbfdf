#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "collector/commands/CommandLine.h"
#include "collector/commands/DataFolder.h"
#include "collector/commands/Import.h"
#include "collector/commands/LineFile.h"

namespace pelto::collector {

namespace {

struct Options {
  DataOptions data;
  KeepingOptions keeping;
  std::string file;
};

int run(const Options& options) {
  const auto storage = open_storage(options.data, options.keeping);
  const LineFile file(options.file, use_data_folder(options.data));
  IntakeOptions intake;
  intake.adapter_key = adapter_key(*storage, options.keeping);
  const ImportCounts counts = import_lines(*storage, file, intake, std::cerr);
  std::cout << counts.accepted << " accepted (" << counts.replaced << " of them replaced another), "
            << counts.repeated << " repeated, " << counts.refused << " refused\n";
  return counts.refused == 0 ? 0 : 1;
}

}  // namespace

void add_import_command(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command =
      app.add_subcommand("import", "Keep deliveries from a file, a line of JSON for each");
  command->add_option("file", options->file, "The file; -: standard input")->required();
  add_data_option(*command, options->data);
  add_keeping_options(*command, options->keeping);
  command->callback([&chosen, options] { chosen = [options] { return run(*options); }; });
}

}  // namespace pelto::collector
