#include "collector/fleet/Arrival.h"

#include "collector/fleet/CodePage.h"

namespace pelto::collector {

namespace {

constexpr int default_code_page = 1252;
constexpr std::chrono::days limit_of_retries{27};

/// The report of a request as the collector reads it.
Report read_request_of(const Report& sent, int code_page) {
  Report read = sent;
  if (code_page == default_code_page || !sent.machine.empty()) return read;
  for (CommandCount& command : read.commands) {
    command.name =
        decode_from_code_page(encode_in_code_page(command.name, code_page), default_code_page);
  }
  return read;
}

/// Whether a name of `before` is another one in `arrival`, because only the later report tells its
/// code page. (A description stays in its report, so it cannot be the earlier one only.)
bool is_renamed(const Arrival& before, const Arrival& arrival) {
  return before.sent.machine.empty() && !arrival.sent.machine.empty() &&
         before.read.commands != before.sent.commands;
}

}  // namespace

std::vector<Arrival> arrivals_of(const Installation& installation, std::optional<Time> now) {
  std::vector<Arrival> arrivals;
  arrivals.reserve(installation.deliveries().size());
  const Arrival* kept = nullptr;
  for (const SimulatedDelivery& delivery : installation.deliveries()) {
    Arrival& arrival = arrivals.emplace_back();
    arrival.delivery = delivery;
    arrival.sent = installation.report_of(delivery);
    arrival.read = now ? read_request_of(arrival.sent, installation.code_page()) : arrival.sent;
    arrival.delivery.time = now.value_or(delivery.time);
    arrival.is_repeated = delivery.is_repeated;
    if (arrival.is_repeated) continue;
    if (kept != nullptr) {
      const bool is_same_report =
          kept->delivery.report == delivery.report || installation.is_empty(kept->delivery);
      const bool is_in_time = arrival.delivery.time - kept->delivery.time <= limit_of_retries;
      arrival.replaces = is_same_report && is_in_time && !is_renamed(*kept, arrival);
    }
    kept = &arrival;
  }
  return arrivals;
}

}  // namespace pelto::collector
