#include "tests/collector/support/Deliveries.h"

#include <atomic>
#include <cstdio>
#include <future>
#include <utility>

namespace pelto::collector::test {

Time time_in(Period period, int days) {
  return first_day_of(period) + std::chrono::days{days};
}

std::string guid_of(int number) {
  char text[64];
  std::snprintf(text, sizeof text, "00000000-0000-4000-8000-%012x", static_cast<unsigned>(number));
  return text;
}

Delivery delivery_of(const std::string& installation, Time received, Report report) {
  static std::atomic<int> number = 0;
  report.installation = installation;
  return {"default", guid_of(++number), received, std::move(report)};
}

Outcome keep_stated(Storage& storage, Delivery delivery) {
  std::promise<Outcome> promise;
  storage.keep(std::move(delivery), TimeKind::stated,
               [&](Outcome outcome) { promise.set_value(outcome); });
  return promise.get_future().get();
}

}  // namespace pelto::collector::test
