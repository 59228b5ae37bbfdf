#include "collector/serve/Metrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

using std::chrono::microseconds;
using testing::HasSubstr;

Health some_health() {
  Health health;
  health.connections = 3;
  health.bytes_in_flight = 4096;
  health.is_ready = true;
  health.version = "1.2.3.4";
  return health;
}

TEST(Metrics, CountEachOutcomeAndEachCode) {
  Metrics metrics;
  metrics.count_delivery(Outcome::accepted);
  metrics.count_delivery(Outcome::accepted);
  metrics.count_delivery(Outcome::replaced);
  metrics.count_delivery(Outcome::failed);
  metrics.count_refusal(Refusal::not_multipart);
  metrics.count_refusal(Refusal::busy);
  metrics.count_refused_connection();
  const std::string text = metrics.format(some_health());
  EXPECT_THAT(text, HasSubstr("# TYPE pelto_collector_deliveries_total counter\n"));
  EXPECT_THAT(text, HasSubstr("pelto_collector_deliveries_total{outcome=\"accepted\"} 2\n"));
  EXPECT_THAT(text, HasSubstr("pelto_collector_deliveries_total{outcome=\"replaced\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("pelto_collector_deliveries_total{outcome=\"repeated\"} 0\n"));
  EXPECT_THAT(text, HasSubstr("pelto_collector_deliveries_total{outcome=\"failed\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("pelto_collector_refusals_total{code=\"not-multipart\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("pelto_collector_refusals_total{code=\"no-id\"} 0\n"));
  EXPECT_THAT(text, HasSubstr("pelto_collector_refusals_total{code=\"busy\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\npelto_collector_refused_connections_total 1\n"));
}

TEST(Metrics, ShowTheGauges) {
  const Metrics metrics;
  const std::string text = metrics.format(some_health());
  EXPECT_THAT(text, HasSubstr("# TYPE pelto_collector_connections gauge\n"
                              "pelto_collector_connections 3\n"));
  EXPECT_THAT(text, HasSubstr("\npelto_collector_in_flight_bytes 4096\n"));
  EXPECT_THAT(text, HasSubstr("\npelto_collector_storage_ready 1\n"));
  EXPECT_THAT(text, HasSubstr("pelto_collector_build_info{version=\"1.2.3.4\"} 1\n"));
  EXPECT_TRUE(text.ends_with("\n"));
  EXPECT_THAT(metrics.format({}), HasSubstr("\npelto_collector_storage_ready 0\n"));
}

TEST(Metrics, BucketsHoldAllUpToTheirLimit) {
  Metrics metrics;
  metrics.count_request(microseconds(0));
  metrics.count_request(microseconds(1'000));
  metrics.count_request(microseconds(1'001));
  metrics.count_request(microseconds(10'000'000));
  metrics.count_request(microseconds(10'000'001));
  const std::string text = metrics.format({});
  const std::string name = "pelto_collector_request_duration_seconds";
  EXPECT_THAT(text, HasSubstr("# TYPE " + name + " histogram\n"));
  EXPECT_THAT(text, HasSubstr(name + "_bucket{le=\"0.001\"} 2\n"));
  EXPECT_THAT(text, HasSubstr(name + "_bucket{le=\"0.0025\"} 3\n"));
  EXPECT_THAT(text, HasSubstr(name + "_bucket{le=\"5\"} 3\n"));
  EXPECT_THAT(text, HasSubstr(name + "_bucket{le=\"10\"} 4\n"));
  EXPECT_THAT(text, HasSubstr(name + "_bucket{le=\"+Inf\"} 5\n"));
  EXPECT_THAT(text, HasSubstr(name + "_sum 20.002002\n"));
  EXPECT_THAT(text, HasSubstr(name + "_count 5\n"));
}

}  // namespace
}  // namespace pelto::collector
