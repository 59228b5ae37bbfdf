#include <algorithm>
#include <limits>
#include <random>
#include <string_view>
#include <utility>
#include <variant>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Bytes.h"
#include "collector/storage/sqlite/Cells.h"
#include "collector/storage/sqlite/TextPacking.h"
#include "tests/collector/unit/storage/Samples.h"

namespace pelto::collector::testing {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

TEST(Packing, NumbersOfEverySizeComeBack) {
  constexpr auto largest = std::numeric_limits<std::uint64_t>::max();
  constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
  for (const std::uint64_t number : {std::uint64_t{0}, std::uint64_t{127}, std::uint64_t{128},
                                     std::uint64_t{1} << 35U, largest}) {
    ByteWriter writer;
    writer.number(number);
    EXPECT_EQ(ByteReader(writer.bytes()).number(), number);
  }
  for (const std::int64_t number : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{63},
                                    std::int64_t{-64}, lowest, -(lowest + 1)}) {
    ByteWriter writer;
    writer.signed_number(number);
    EXPECT_EQ(ByteReader(writer.bytes()).signed_number(), number);
  }
}

TEST(Packing, BytesThatBreakOffAreDamaged) {
  EXPECT_THROW(ByteReader("").number(), StorageError);
  EXPECT_THROW(ByteReader("\x80").number(), StorageError);
  EXPECT_THROW(ByteReader(std::string(11, '\xff')).number(), StorageError);
  EXPECT_THROW(ByteReader(std::string(9, '\xff') + '\x02').number(), StorageError);
  EXPECT_THROW(ByteReader("\x05"
                          "abc")
                   .text(),
               StorageError);
  NumberedReport report;
  EXPECT_FALSE(unpack("\x02\x01\x01", report));
  EXPECT_THAT(report.commands, IsEmpty());
  EXPECT_THROW(read_installations("xyz"), StorageError);
}

TEST(Packing, RandomBytesAreDamagedOrAReport) {
  std::mt19937 random(3);
  for (int i = 0; i < 5000; ++i) {
    std::string bytes;
    for (auto left = random() % 40; left > 0; --left) {
      bytes.push_back(static_cast<char>(random() % 16 == 0 ? random() : random() % 4));
    }
    NumberedReport report;
    const bool is_report = unpack(bytes, report);
    EXPECT_LE(report.commands.size(), is_report ? bytes.size() : 0);
  }
}

NumberedReport numbered_report() {
  NumberedReport report;
  report.commands = {{1, 0, 0}, {7, 300, 2}, {4'000'000'000, largest_count, largest_count}};
  report.file_types = {{3, 0, 1}, {200, 70'000, 0}};
  report.machine = {{2, {}}, {9, -17'179'869'184}, {10, "0012"}, {500, {}}};
  return report;
}

/// Whether a report is one that `pack` can be given.
bool is_sound(const NumberedReport& report) {
  const auto ascend = [](const auto& entries) {
    Number last = 0;
    return std::ranges::all_of(
        entries, [&](const auto& one) { return one.name > std::exchange(last, one.name); });
  };
  const auto is_count = [](std::int64_t count) { return count >= 0 && count <= largest_count; };
  return ascend(report.commands) && ascend(report.file_types) && ascend(report.machine) &&
         std::ranges::all_of(
             report.commands,
             [&](const auto& one) { return is_count(one.uses) && is_count(one.order); }) &&
         std::ranges::all_of(report.file_types, [&](const auto& one) {
           return is_count(one.opened) && is_count(one.saved);
         });
}

TEST(Packing, AReportComesBack) {
  const std::string packed = pack(numbered_report());
  NumberedReport report;
  report.commands = {{1, 1, 1}};
  EXPECT_TRUE(unpack(packed, report));
  EXPECT_EQ(pack(report), packed);
  EXPECT_EQ(report.commands[2].name, 4'000'000'000);
  EXPECT_EQ(report.commands[2].uses, largest_count);
  EXPECT_EQ(report.file_types[1].opened, 70'000);
  EXPECT_EQ(std::get<std::int64_t>(report.machine[1].exact), -17'179'869'184);
  EXPECT_EQ(std::get<std::string>(report.machine[2].exact), "0012");
  EXPECT_TRUE(std::holds_alternative<std::monostate>(report.machine[3].exact));
}

TEST(Packing, AReportWithAnyBitChangedIsDamagedOrAnotherOneThatCouldBe) {
  const std::string packed = pack(numbered_report());
  int damaged = 0;
  for (std::size_t bit = 0; bit < packed.size() * 8; ++bit) {
    std::string bytes = packed;
    bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
    NumberedReport report;
    if (!unpack(bytes, report)) {
      ++damaged;
      EXPECT_TRUE(report.commands.empty() && report.file_types.empty() && report.machine.empty());
      continue;
    }
    EXPECT_TRUE(is_sound(report)) << bit;
    EXPECT_EQ(pack(report), bytes) << bit;
  }
  EXPECT_GT(damaged, 0);
}

TEST(Packing, AReportThatIsCutOffOrGoesOnIsDamaged) {
  const std::string packed = pack(numbered_report());
  NumberedReport report;
  for (std::size_t size = 0; size < packed.size(); ++size) {
    EXPECT_FALSE(unpack(std::string_view(packed).substr(0, size), report)) << size;
  }
  EXPECT_FALSE(unpack(packed + std::string(1, '\0'), report));
}

TEST(Packing, WhatNoReportHasIsDamaged) {
  const auto is_damaged = [](const NumberedReport& changed) {
    NumberedReport report;
    return !unpack(pack(changed), report);
  };
  NumberedReport report;
  EXPECT_FALSE(is_damaged(report));
  report.commands = {{0, 1, 1}};
  EXPECT_TRUE(is_damaged(report)) << "a name that is 0";
  report.commands = {{5, 1, 1}, {5, 1, 1}};
  EXPECT_TRUE(is_damaged(report)) << "a name twice";
  report.commands = {{5, 1, 1}, {4, 1, 1}};
  EXPECT_TRUE(is_damaged(report)) << "a name that is smaller than the one before";
  report.commands = {{5, largest_count + 1, 1}};
  EXPECT_TRUE(is_damaged(report));
  report.commands = {{5, 1, largest_count + 1}};
  EXPECT_TRUE(is_damaged(report));
  report.commands = {{5, -1, 1}};
  EXPECT_TRUE(is_damaged(report));
  report.commands = {};
  report.file_types = {{5, largest_count + 1, 0}};
  EXPECT_TRUE(is_damaged(report));
  report.file_types = {{5, 0, -1}};
  EXPECT_TRUE(is_damaged(report));
  report.file_types = {};
  report.machine = {{5, std::string(longest_name, 'x')}};
  EXPECT_FALSE(is_damaged(report));
  report.machine = {{5, std::string(longest_name + 1, 'x')}};
  EXPECT_TRUE(is_damaged(report));

  using namespace std::string_view_literals;
  EXPECT_FALSE(unpack("\0\0\1\x17"sv, report)) << "a form that does not exist";
  EXPECT_FALSE(unpack("\1\x80\x80\x80\x80\x10\1\1\0\0"sv, report)) << "a name of 2^32";
  EXPECT_FALSE(unpack("\1\x85\0\1\1\0\0"sv, report)) << "a number with a byte too many";
  EXPECT_TRUE(unpack("\1\5\1\1\0\0"sv, report));
}

TEST(Packing, PlacesComeBackWithTheirSigns) {
  const Places places{{1, 3}, {7, -2}, {1'000'000'000, 1}};
  const Places read = read_places(bytes_of(places));
  EXPECT_EQ(read, places);
  EXPECT_THAT(add_places(read, {{2, 1}, {7, 2}}),
              ElementsAre(Pair(1, 3), Pair(2, 1), Pair(1'000'000'000, 1)));
}

std::string sent_text(const Report& report) {
  std::string text = "<PeltoRpt>\n    <cmd_stat>\n        <cmds>\n";
  for (const CommandCount& command : report.commands) {
    text += "            <cmd id=\"" + std::to_string(command.order) + "\" name=\"" + command.name +
            "\" count=\"" + std::to_string(command.uses) + "\" />\n";
  }
  text +=
      "        </cmds>\n    </cmd_stat>\n    <ftype_stat>\n        <ftypes>\n"
      "        </ftypes>\n    </ftype_stat>\n    <sys_info>\n    </sys_info>\n"
      "    <app_info>\n        <prop name=\"app_name\">Designer</prop>\n"
      "        <prop name=\"app_ver\">1.0</prop>\n    </app_info>\n</PeltoRpt>\n";
  return text;
}

TEST(Packing, AnOrdinaryTextCostsFewBytesAndComesBack) {
  Report report = sample_report("first");
  report.commands.clear();
  for (int i = 10; i < 70; ++i) {
    report.commands.push_back({"Command of a Menu " + std::to_string(i), i * 37 % 201, 80 - i});
  }
  report.text = sent_text(report);
  const std::string packed = pack_text(report);
  EXPECT_GT(report.text.size(), 4000U);
  EXPECT_LT(packed.size(), 60U);
  EXPECT_EQ(unpack_text(packed, report), report.text);
}

TEST(Packing, AnyTextComesBack) {
  Report report = sample_report("first");
  std::mt19937 random(5);
  for (const std::size_t length : {std::size_t{1}, std::size_t{100}, std::size_t{300'000}}) {
    report.text.clear();
    while (report.text.size() < length) report.text.push_back(static_cast<char>(random()));
    EXPECT_EQ(unpack_text(pack_text(report), report), report.text);
  }
}

TEST(Packing, ADamagedTextIsAnError) {
  Report report = sample_report("first");
  report.text = sent_text(report);
  const std::string packed = pack_text(report);
  EXPECT_THROW(unpack_text("", report), StorageError);
  EXPECT_THROW(unpack_text("no compressed text", report), StorageError);
  EXPECT_THROW(unpack_text(packed.substr(0, packed.size() - 2), report), StorageError);
}

TEST(Packing, PlacesBeyondTheirLimitAreDamaged) {
  const auto read = [](const std::vector<std::uint64_t>& steps) {
    ByteWriter writer;
    for (const std::uint64_t step : steps) {
      writer.number(step);
      writer.signed_number(1);
    }
    return read_places(writer.bytes());
  };
  constexpr std::uint64_t largest = largest_count;
  EXPECT_EQ(read({1, largest - 1}), (Places{{1, 1}, {largest_count, 1}}));
  EXPECT_THROW(read({1, largest}), StorageError);
  EXPECT_THROW(read({largest + 1}), StorageError);
  EXPECT_THROW(read({static_cast<std::uint64_t>(-5)}), StorageError);
}

}  // namespace

}  // namespace pelto::collector::testing
