#include "collector/fleet/Catalog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "collector/fleet/CodePage.h"
#include "collector/report/MachineClass.h"

namespace pelto::collector {
namespace {

TEST(Catalog, HasAsManyDifferentCommandsInEachLanguage) {
  for (int language = 0; std::cmp_less(language, languages().size()); ++language) {
    std::set<std::string> names;
    for (int command = 0; command < command_count; ++command) {
      names.insert(command_name(language, command));
    }
    EXPECT_EQ(names.size(), static_cast<std::size_t>(command_count)) << language;
  }
}

TEST(Catalog, HasOnlyTextsThatTheLanguagesCodePageHas) {
  for (int language = 0; std::cmp_less(language, languages().size()); ++language) {
    const Language& entry = languages()[static_cast<std::size_t>(language)];
    const auto expect_kept = [&](const std::string& text) {
      const std::string bytes = encode_in_code_page(text, entry.code_page);
      EXPECT_EQ(decode_from_code_page(bytes, entry.code_page), text);
    };
    for (int command = 0; command < command_count; ++command) {
      expect_kept(command_name(language, command));
    }
    Random random{1};
    for (const MachineValue& value : make_machine(random, entry)) expect_kept(value.value);
  }
}

TEST(Catalog, HasNamesThatDifferEvenIfTheyAreReadInAnotherCodePage) {
  for (int language = 0; std::cmp_less(language, languages().size()); ++language) {
    const int code_page = languages()[static_cast<std::size_t>(language)].code_page;
    std::set<std::string> names;
    for (int command = 0; command < command_count; ++command) {
      const std::string bytes = encode_in_code_page(command_name(language, command), code_page);
      names.insert(decode_from_code_page(bytes, 1252));
    }
    EXPECT_EQ(names.size(), static_cast<std::size_t>(command_count)) << language;
  }
}

TEST(Catalog, SharesOutAllInstallationsToTheLanguages) {
  int sum = 0;
  for (const Language& language : languages()) sum += language.share;
  EXPECT_EQ(sum, 1000);
}

TEST(Catalog, KnowsWhichFileTypesAreNoPlainExtensions) {
  for (const FileType& type : file_types()) {
    EXPECT_EQ(is_plain_extension(type.name), !type.is_odd) << type.name;
  }
}

TEST(Catalog, OrdersAMachinesPropertiesAsASenderDoes) {
  Random random{1};
  const std::vector<MachineValue> values = make_machine(random, languages().front());
  EXPECT_TRUE(std::ranges::is_sorted(
      values, {}, [](const MachineValue& value) { return value.name + value.category; }));
}

TEST(Catalog, HasMachinesOfManyClassesAndSomeWithoutAMonitor) {
  Random random{1};
  std::set<std::string> memories;
  int without_monitor = 0;
  for (int i = 0; i < 500; ++i) {
    const std::vector<MachineValue> values = make_machine(random, languages().front());
    bool has_monitor = false;
    for (const MachineValue& value : values) {
      if (value.name == "TotalPhysicalMemory") memories.insert(machine_class(value).value());
      if (value.category == "Monitor") has_monitor = true;
    }
    if (!has_monitor) ++without_monitor;
  }
  EXPECT_GE(memories.size(), 5U);
  EXPECT_GT(without_monitor, 5);
  EXPECT_LT(without_monitor, 60);
}

}  // namespace
}  // namespace pelto::collector
