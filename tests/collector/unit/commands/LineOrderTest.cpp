#include "collector/commands/LineOrder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>
#include <vector>

#include "tests/collector/support/Deliveries.h"

namespace pelto::collector {
namespace {

using test::guid_of;
using test::time_in;

std::vector<std::int64_t> offsets_in(LineOrder& order) {
  std::vector<std::int64_t> offsets;
  order.for_each([&](LineFile::Place place) {
    offsets.push_back(place.offset);
    EXPECT_EQ(place.length, static_cast<std::size_t>(place.offset) + 1);
  });
  return offsets;
}

TEST(LineOrder, IsByTimeThenIdentifierThenPlace) {
  LineOrder order;
  order.add(time_in(1), guid_of(1), {0, 1});
  order.add(time_in(0), guid_of(3), {10, 11});
  order.add(time_in(0), guid_of(2), {30, 31});
  order.add(time_in(0), guid_of(2), {20, 21});
  order.add(time_in(-30), guid_of(9), {40, 41});
  EXPECT_EQ(offsets_in(order), (std::vector<std::int64_t>{40, 20, 30, 10, 0}));
}

TEST(LineOrder, CanBeEmpty) {
  LineOrder order;
  EXPECT_TRUE(offsets_in(order).empty());
}

TEST(LineOrder, SortsMoreThanItsCacheHolds) {
  std::mt19937 random(7);
  std::vector<std::tuple<Time, std::string, std::int64_t>> lines;
  LineOrder order;
  for (int i = 0; i < 150'000; ++i) {
    const Time time = time_in(static_cast<Period>(random() % 13), static_cast<int>(random() % 28));
    const std::string id = guid_of(static_cast<int>(random() % 100'000));
    lines.emplace_back(time, id, i);
    order.add(time, id, {i, static_cast<std::size_t>(i) + 1});
  }
  std::ranges::sort(lines);
  std::vector<std::int64_t> sorted;
  for (const auto& line : lines) sorted.push_back(std::get<2>(line));
  EXPECT_EQ(offsets_in(order), sorted);
}

}  // namespace
}  // namespace pelto::collector
