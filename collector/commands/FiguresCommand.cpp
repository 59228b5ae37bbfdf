#include <CLI/CLI.hpp>
#include <iostream>
#include <limits>
#include <memory>

#include "collector/commands/CommandLine.h"
#include "collector/commands/DataFolder.h"
#include "collector/figures/Figures.h"

namespace pelto::collector {

namespace {

struct Options {
  DataOptions data;
  FigureQuery query;
  std::string format = "json";
};

int run(const Options& options) {
  const auto storage = open_storage(options.data);
  if (options.format == "csv") {
    std::cout << figure_as_csv(*storage, options.query);
  } else {
    std::cout << figure_as_json(*storage, options.query) << '\n';
  }
  return 0;
}

}  // namespace

void add_figures_command(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("figures", "Print figures");
  FigureQuery& query = options->query;
  command
      ->add_option("name", query.name,
                   "overview, commands, file-types, versions, machines or intake")
      ->required();
  add_data_option(*command, options->data);
  command->add_option("--product", query.product, "The product; needed if there are several");
  command->add_option("--version", query.version, "Reports of this version only");
  command->add_option("--from", query.from, "The first day, as 2026-01-05")->type_name("DATE");
  command->add_option("--to", query.to, "The last day, as 2026-01-05")->type_name("DATE");
  command->add_option("--threshold", query.threshold, "For this answer in place of the folder's")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()))
      ->type_name("K");
  command->add_option("--format", options->format, "json or csv")
      ->check(CLI::IsMember({"json", "csv"}))
      ->type_name("FORMAT");
  command->callback([&chosen, options] { chosen = [options] { return run(*options); }; });
}

}  // namespace pelto::collector
