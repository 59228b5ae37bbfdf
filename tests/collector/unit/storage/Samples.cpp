#include "tests/collector/unit/storage/Samples.h"

#include <cstdio>
#include <future>
#include <utility>

namespace pelto::collector::testing {

Time at(const char* text) {
  return parse_time(text).value();
}

std::string guid(unsigned number) {
  char text[37];
  std::snprintf(text, sizeof text, "%08x-0000-4000-8000-%012x", number * 2654435761U, number);
  return text;
}

Report sample_report(const std::string& installation, std::int64_t uses) {
  Report report;
  report.installation = installation;
  report.application = "Designer";
  report.version = "1.0";
  report.commands = {{"Line", uses, 1}};
  return report;
}

Delivery sample_delivery(unsigned id, const char* received, Report report,
                         const std::string& product) {
  return {product, guid(id), at(received), std::move(report)};
}

Outcome keep(Storage& storage, const Delivery& delivery, TimeKind time_kind) {
  std::promise<Outcome> promise;
  storage.keep(delivery, time_kind, [&](Outcome outcome) { promise.set_value(outcome); });
  return promise.get_future().get();
}

std::vector<KeptDelivery> export_all(Storage& storage,
                                     const std::optional<std::string>& installation) {
  std::vector<KeptDelivery> all;
  storage.export_deliveries(installation,
                            [&](const KeptDelivery& delivery) { all.push_back(delivery); });
  return all;
}

Selection everything(const std::string& product) {
  return {product, std::nullopt, -1000, 1000};
}

Delivery RandomDeliveries::next() {
  Delivery delivery;
  if (!earlier_.empty() && below(3) == 0) {
    // The same report again, as it was or grown, and sometimes with the same identifier.
    delivery = earlier_[below(static_cast<unsigned>(earlier_.size()))];
    if (below(4) != 0) delivery.id = guid(below(1U << 30U));
    delivery.report = grown(delivery.report);
    delivery.received += std::chrono::hours{24} * below(30);
  } else {
    delivery.product = below(4) == 0 ? "other" : "default";
    delivery.id = guid(below(1U << 30U));
    delivery.received = at("2025-12-20T00:00:00Z") + std::chrono::hours{6} * below(4 * 28 * 4);
    delivery.report = random_report();
  }
  earlier_.push_back(delivery);
  return delivery;
}

Selection RandomDeliveries::selection() {
  Selection selection = everything(below(4) == 0 ? "other" : "default");
  const Period first = period_of(at("2025-12-20T00:00:00Z"));
  if (below(3) != 0) selection.from = first + static_cast<Period>(below(5));
  if (below(3) != 0) selection.to = first + static_cast<Period>(below(6));
  if (below(3) != 0) selection.version = "1." + std::to_string(below(4));
  return selection;
}

Report RandomDeliveries::random_report() {
  Report report;
  report.installation = "installation-" + std::to_string(below(9));
  report.application = below(5) == 0 ? "Viewer" : "Designer";
  report.version = "1." + std::to_string(below(3));
  for (const char* const name : {"Line", "Arc", "Zoom", "Print", "Save", "Trim"}) {
    if (below(3) == 0) report.commands.push_back({name, below(40), below(5)});
  }
  for (const char* const name : {".dwg", ".dxf", ".pdf"}) {
    if (below(3) == 0) report.file_types.push_back({name, below(3), below(3)});
  }
  if (below(2) == 0) {
    report.machine = {{"OS", "Caption", "Windows " + std::to_string(below(3))},
                      {"HardDisk", "Size", std::to_string(1000 * (1U << below(4)) + below(99))}};
    if (below(3) == 0) report.machine.push_back({"System", "TotalPhysicalMemory", "unknown"});
  }
  return report;
}

Report RandomDeliveries::grown(Report report) {
  for (CommandCount& command : report.commands) command.uses += below(2);
  for (FileTypeCount& file_type : report.file_types) file_type.saved += below(2);
  if (below(4) == 0) report.machine = random_report().machine;
  if (below(8) == 0 && !report.commands.empty()) report.commands.pop_back();
  return report;
}

}  // namespace pelto::collector::testing
