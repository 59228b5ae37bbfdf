#include <chrono>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>

#include "collector/commands/CommandLine.h"
#include "collector/fleet/Fleet.h"
#include "collector/fleet/Load.h"

namespace pelto::collector {

namespace {

struct Options {
  FleetOptions fleet;
  std::string until = format_day(FleetOptions().until);
  std::string to;
  std::string ndjson;
  std::string truth;
  bool writes_parsed_lines = false;
  int connections = LoadOptions().connections;
  double rate = 0;
  std::int64_t patience = LoadOptions().patience.count();
};

std::ofstream open_for_writing(const std::string& path) {
  std::ofstream file(path, std::ios::binary);
  if (!file) throw CommandError("cannot write " + path + "; choose another file");
  return file;
}

void close_written(std::ostream& out, const std::string& path) {
  out.flush();
  if (!out) throw CommandError("writing " + path + " failed; is the disk full?");
}

void write_truth(const Fleet& fleet, const std::string& path) {
  if (path.empty()) return;
  std::ofstream file = open_for_writing(path);
  file << fleet.truth.dump(1) << '\n';
  close_written(file, path);
}

int write_lines(const Options& options, const Fleet& fleet) {
  const LineForm form = options.writes_parsed_lines ? LineForm::parsed : LineForm::text;
  if (options.ndjson == "-") {
    write_history(options.fleet, fleet.deliveries, form, std::cout);
    close_written(std::cout, "to standard output");
  } else {
    std::ofstream file = open_for_writing(options.ndjson);
    write_history(options.fleet, fleet.deliveries, form, file);
    close_written(file, options.ndjson);
  }
  return 0;
}

int send(const Options& options, const CollectorAddress& address, const Fleet& fleet) {
  LoadOptions load;
  load.address = address;
  load.connections = options.connections;
  load.rate = options.rate;
  load.patience = std::chrono::seconds(options.patience);
  const LoadSummary summary =
      send_requests(prepare_requests(options.fleet, fleet.deliveries, load.address), load);
  std::cout << format_summary(summary) << '\n';
  if (summary.failed == 0) return 0;
  std::cerr << summary.failed << " deliveries were not confirmed; look at the collector's log\n";
  return 1;
}

int run(Options options) try {
  if (options.to.empty() == options.ndjson.empty()) {
    throw CommandError("name either --to or --ndjson");
  }
  const std::optional<Day> until = parse_day(options.until);
  if (!until) throw CommandError("--until must be a day such as 2026-01-01");
  options.fleet.until = *until;
  if (!options.ndjson.empty()) {
    const Fleet fleet = simulate_fleet(options.fleet, std::nullopt);
    write_truth(fleet, options.truth);
    return write_lines(options, fleet);
  }
  const CollectorAddress address = parse_collector_address(options.to);
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  const Fleet fleet = simulate_fleet(options.fleet, now);
  write_truth(fleet, options.truth);
  return send(options, address, fleet);
} catch (const std::invalid_argument& error) {
  throw CommandError(error.what());
} catch (const std::runtime_error& error) {
  throw CommandError(error.what());
}

}  // namespace

void add_fleet_command(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command =
      app.add_subcommand("fleet", "Simulate many installations, and say what the figures must be");
  command->add_option("--installations", options->fleet.installations, "How many installations")
      ->required();
  command->add_option("--periods", options->fleet.periods, "How many periods of 28 days")
      ->required();
  command->add_option("--seed", options->fleet.seed, "Same options and seed, same bytes");
  command
      ->add_option("--until", options->until,
                   "The history ends with the last whole period before this day")
      ->capture_default_str();
  command->add_option("--to", options->to,
                      "Send everything now to this address, as http://HOST:PORT/collect");
  command->add_option("--ndjson", options->ndjson,
                      "Write lines for the command import, with times in the past; - for standard "
                      "output");
  command->add_option("--truth", options->truth, "Write what the figures must be, as JSON");
  command->add_flag("--parsed", options->writes_parsed_lines,
                    "With --ndjson: lines as export writes them, in place of the reports' text");
  command->add_option("--connections", options->connections, "With --to: requests at once")
      ->capture_default_str()
      ->check(CLI::Range(1, 4096));
  command
      ->add_option("--rate", options->rate,
                   "With --to: requests a second; 0 is as fast as possible")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  command
      ->add_option("--patience", options->patience,
                   "With --to: for how many seconds a request that gets no answer is repeated")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  command->callback([&chosen, options] { chosen = [options] { return run(*options); }; });
}

}  // namespace pelto::collector
