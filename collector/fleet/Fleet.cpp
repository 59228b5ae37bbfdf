#include "collector/fleet/Fleet.h"

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "collector/fleet/Arrival.h"
#include "collector/fleet/CodePage.h"
#include "collector/fleet/Oracle.h"
#include "collector/fleet/ReportText.h"

namespace pelto::collector {

namespace {

using Json = nlohmann::ordered_json;

constexpr int most_periods = 1000;

void check(const FleetOptions& options) {
  if (options.installations < 1) throw std::invalid_argument("there must be an installation");
  if (options.periods < 1 || options.periods > most_periods) {
    throw std::invalid_argument("the number of periods must be from 1 to 1000");
  }
}

/// Ranges that begin, end and lie within the history, and two versions with and without a range.
std::vector<OracleQuery> choose_queries(const FleetOptions& options, std::optional<Time> now) {
  const Period first = now ? period_of(*now) : first_period_of(options);
  const Period last = now ? period_of(*now) : last_period_of(options);
  const Period length = last - first + 1;
  const std::vector<std::string> versions = versions_of(options);
  const std::string& middle = versions[versions.size() / 2];
  return {
      {{}, {}, {}},
      {first, first, {}},
      {std::max(first, last - 2), last, {}},
      {first + length / 4, first + length / 2, {}},
      {{}, {}, versions.front()},
      {{}, {}, middle},
      {{}, {}, versions.back()},
      {std::max(first, last - 2), last, middle},
      {last, last, versions.back()},
  };
}

void mark_replaced(const std::vector<Arrival>& arrivals, std::vector<DeliveryReference>& references,
                   std::size_t begin) {
  std::optional<std::size_t> kept;
  for (std::size_t i = 0; i < arrivals.size(); ++i) {
    if (arrivals[i].is_repeated) continue;
    if (arrivals[i].replaces) references[begin + *kept].is_replaced = true;
    kept = i;
  }
}

Json format_parsed_line(const SimulatedDelivery& delivery, Report report, bool is_replaced) {
  normalize(report);
  Json line;
  line["received"] = format_time(delivery.time);
  line["product"] = "default";
  line["id"] = delivery.id;
  line["installation"] = report.installation;
  line["application"] = report.application;
  line["version"] = report.version;
  line["replaced"] = is_replaced;
  line["commands"] = Json::array();
  for (const CommandCount& command : report.commands) {
    line["commands"].push_back(
        {{"name", command.name}, {"uses", command.uses}, {"order", command.order}});
  }
  line["file_types"] = Json::array();
  for (const FileTypeCount& file_type : report.file_types) {
    line["file_types"].push_back(
        {{"name", file_type.name}, {"opened", file_type.opened}, {"saved", file_type.saved}});
  }
  line["machine"] = Json::array();
  for (const MachineValue& property : report.machine) {
    if (property.category == "Adapter") continue;
    line["machine"].push_back(
        {{"category", property.category}, {"name", property.name}, {"value", property.value}});
  }
  return line;
}

Json format_text_line(const SimulatedDelivery& delivery, const Report& report) {
  Json line;
  line["received"] = format_time(delivery.time);
  line["product"] = "default";
  line["id"] = delivery.id;
  line["report"] = format_report(report);
  return line;
}

}  // namespace

Fleet simulate_fleet(const FleetOptions& options, std::optional<Time> now) {
  check(options);
  Oracle oracle(choose_queries(options, now));
  Fleet fleet;
  std::vector<DeliveryReference>& references = fleet.deliveries;
  for (std::int64_t number = 0; number < options.installations; ++number) {
    const Installation installation(options, number);
    const std::vector<Arrival> arrivals = arrivals_of(installation, now);
    oracle.add(arrivals);
    const std::size_t begin = references.size();
    for (std::size_t i = 0; i < arrivals.size(); ++i) {
      references.push_back(
          {installation.deliveries()[i].time, number, static_cast<std::int32_t>(i), false});
    }
    mark_replaced(arrivals, references, begin);
  }
  std::ranges::sort(references, {}, [](const DeliveryReference& reference) {
    return std::tuple(reference.time, reference.installation, reference.index);
  });
  Json& truth = fleet.truth;
  truth["installations"] = options.installations;
  truth["periods"] = options.periods;
  truth["seed"] = options.seed;
  truth["until"] = format_day(options.until);
  truth["route"] = now ? "network" : "history";
  truth["deliveries"] = references.size();
  truth["figures"] = oracle.answers();
  return fleet;
}

void write_history(const FleetOptions& options, const std::vector<DeliveryReference>& deliveries,
                   LineForm form, std::ostream& out) {
  for (const DeliveryReference& reference : deliveries) {
    const Installation installation(options, reference.installation);
    const SimulatedDelivery& delivery =
        installation.deliveries()[static_cast<std::size_t>(reference.index)];
    Report report = installation.report_of(delivery);
    const Json line = form == LineForm::text
                          ? format_text_line(delivery, report)
                          : format_parsed_line(delivery, std::move(report), reference.is_replaced);
    out << line.dump() << '\n';
    if (!out) return;
  }
}

std::vector<PreparedRequest> prepare_requests(const FleetOptions& options,
                                              const std::vector<DeliveryReference>& deliveries,
                                              const CollectorAddress& address) {
  std::vector<PreparedRequest> requests;
  requests.reserve(deliveries.size());
  for (const DeliveryReference& reference : deliveries) {
    const Installation installation(options, reference.installation);
    const SimulatedDelivery& delivery =
        installation.deliveries()[static_cast<std::size_t>(reference.index)];
    const std::string text = format_report(installation.report_of(delivery));
    requests.push_back({reference.installation,
                        format_request(address, delivery.id,
                                       encode_in_code_page(text, installation.code_page()))});
  }
  return requests;
}

}  // namespace pelto::collector
