#include <CLI/CLI.hpp>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "collector/commands/CommandLine.h"
#include "collector/commands/DataFolder.h"
#include "collector/storage/ExportLine.h"

namespace pelto::collector {

namespace {

struct Options {
  DataOptions data;
  std::optional<std::string> installation;
};

int run(const Options& options) {
  const auto storage = open_storage(options.data);
  note_command(options.data, Action::export_data,
               describe_export(options.installation.has_value()));
  std::int64_t damaged = 0;
  storage->export_deliveries(options.installation, [&damaged](const KeptDelivery& kept) {
    std::cout << export_line(kept) << '\n';
    if (!std::cout) throw CommandError("standard output cannot be written; check where it goes");
    if (kept.is_damaged) ++damaged;
  });
  if (damaged == 0) return 0;
  throw CommandError("damaged deliveries: " + std::to_string(damaged) +
                     "; their lines are not whole; run check, and restore a backup");
}

}  // namespace

void add_export_command(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command =
      app.add_subcommand("export", "Print what is kept, a line of JSON for each delivery");
  add_data_option(*command, options->data);
  command->add_option("--installation", options->installation, "Of this installation only")
      ->type_name("ID");
  command->callback([&chosen, options] { chosen = [options] { return run(*options); }; });
}

}  // namespace pelto::collector
