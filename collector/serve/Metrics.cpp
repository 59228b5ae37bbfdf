#include "collector/serve/Metrics.h"

#include <algorithm>

namespace pelto::collector {

namespace {

struct Bucket {
  std::chrono::microseconds limit;
  std::string_view seconds;
};

constexpr std::array<Bucket, 13> buckets{{
    {std::chrono::microseconds(1'000), "0.001"},
    {std::chrono::microseconds(2'500), "0.0025"},
    {std::chrono::microseconds(5'000), "0.005"},
    {std::chrono::microseconds(10'000), "0.01"},
    {std::chrono::microseconds(25'000), "0.025"},
    {std::chrono::microseconds(50'000), "0.05"},
    {std::chrono::microseconds(100'000), "0.1"},
    {std::chrono::microseconds(250'000), "0.25"},
    {std::chrono::microseconds(500'000), "0.5"},
    {std::chrono::microseconds(1'000'000), "1"},
    {std::chrono::microseconds(2'500'000), "2.5"},
    {std::chrono::microseconds(5'000'000), "5"},
    {std::chrono::microseconds(10'000'000), "10"},
}};

std::string header(std::string_view name, std::string_view type, std::string_view help) {
  std::string text = "# HELP ";
  text.append(name).append(" ").append(help).append("\n# TYPE ");
  text.append(name).append(" ").append(type).append("\n");
  return text;
}

/// `label` is empty, or in the form `key="value"`.
std::string sample(std::string_view name, const std::string& label, const std::string& value) {
  std::string text(name);
  if (!label.empty()) text.append("{").append(label).append("}");
  return text.append(" ").append(value).append("\n");
}

std::string label(std::string_view key, std::string_view value) {
  return std::string(key).append("=\"").append(value).append("\"");
}

std::string single(std::string_view name, std::string_view type, std::string_view help,
                   std::uint64_t value) {
  return header(name, type, help) + sample(name, {}, std::to_string(value));
}

std::string format_seconds(std::chrono::microseconds duration) {
  const std::string fraction = std::to_string(1'000'000 + duration.count() % 1'000'000).substr(1);
  return std::to_string(duration.count() / 1'000'000) + "." + fraction;
}

}  // namespace

std::string_view outcome_code(Outcome outcome) {
  switch (outcome) {
    case Outcome::accepted:
      return "accepted";
    case Outcome::replaced:
      return "replaced";
    case Outcome::repeated:
      return "repeated";
    case Outcome::failed:
      break;
  }
  return "failed";
}

void Metrics::count_delivery(Outcome outcome) {
  ++deliveries_[static_cast<std::size_t>(outcome)];
}

void Metrics::count_refusal(Refusal refusal) {
  ++refusals_[static_cast<std::size_t>(refusal)];
}

void Metrics::count_request(std::chrono::microseconds duration) {
  const auto* const bucket =
      std::find_if(buckets.begin(), buckets.end(),
                   [duration](const Bucket& candidate) { return duration <= candidate.limit; });
  ++requests_[static_cast<std::size_t>(bucket - buckets.begin())];
  total_duration_ += duration;
}

std::string Metrics::format(const Health& health) const {
  constexpr std::string_view deliveries = "pelto_collector_deliveries_total";
  constexpr std::string_view refusals = "pelto_collector_refusals_total";
  constexpr std::string_view durations = "pelto_collector_request_duration_seconds";
  constexpr std::string_view build = "pelto_collector_build_info";

  std::string text = header(deliveries, "counter", "Deliveries by what became of them.");
  for (std::size_t i = 0; i < outcome_count; ++i) {
    text += sample(deliveries, label("outcome", outcome_code(static_cast<Outcome>(i))),
                   std::to_string(deliveries_[i]));
  }
  text += header(refusals, "counter", "Refused requests by code.");
  for (std::size_t i = 0; i < refusal_count; ++i) {
    text += sample(refusals, label("code", code_of(static_cast<Refusal>(i))),
                   std::to_string(refusals_[i]));
  }
  text +=
      single("pelto_collector_refused_connections_total", "counter",
             "Connections to the intake refused because too many were open.", refused_connections_);
  text += single("pelto_collector_connections", "gauge", "Open connections of the intake.",
                 health.connections);
  text += single("pelto_collector_in_flight_bytes", "gauge", "Bytes of bodies in memory.",
                 health.bytes_in_flight);
  text += header(durations, "histogram", "Requests to the intake, from first byte to response.");
  std::uint64_t count = 0;
  for (std::size_t i = 0; i < bucket_count; ++i) {
    count += requests_[i];
    text += sample("pelto_collector_request_duration_seconds_bucket",
                   label("le", buckets[i].seconds), std::to_string(count));
  }
  count += requests_[bucket_count];
  text += sample("pelto_collector_request_duration_seconds_bucket", label("le", "+Inf"),
                 std::to_string(count));
  text +=
      sample("pelto_collector_request_duration_seconds_sum", {}, format_seconds(total_duration_));
  text += sample("pelto_collector_request_duration_seconds_count", {}, std::to_string(count));
  text += single("pelto_collector_storage_ready", "gauge", "Whether a delivery could be kept now.",
                 health.is_ready ? 1 : 0);
  text += header(build, "gauge", "The version of the program.");
  text += sample(build, label("version", health.version), "1");
  return text;
}

}  // namespace pelto::collector
