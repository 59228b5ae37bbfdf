#include "app/ProgramSteps.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/FakeClock.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestText.h"

namespace {

TEST(ProgramSteps, HarvestCountsTheLogsOfTheFolderAndDeletesThem) {
  const TempFolder folder;
  WriteBytes(folder / L"a.log", Prefix() + "Command = Line\r\n" + Prefix() + "OnOpenDocument\r\n" +
                                    Prefix() + "C:\\a.dwg\r\n");
  WriteBytes(folder / L"b.txt", Prefix() + "Command = Line\r\n");
  CommandStats commands;
  FileTypeStats fileTypes;
  CProgramSteps().HarvestLogs(folder.Path().wstring(), commands, fileTypes);
  ASSERT_EQ(commands.GetEntries().size(), 1U);
  EXPECT_EQ(commands.GetEntries().at(L"Line").count, 1U);
  ASSERT_EQ(fileTypes.GetEntries().size(), 1U);
  EXPECT_EQ(fileTypes.GetEntries().at(L".dwg").ocnt, 1U);
  EXPECT_EQ(fileTypes.GetEntries().at(L".dwg").scnt, 0U);
  EXPECT_FALSE(Exists(folder / L"a.log"));
  EXPECT_TRUE(Exists(folder / L"b.txt"));
}

TEST(ProgramSteps, CollectionDescribesTheMachineInTheStore) {
  CommandStats commands;
  FileTypeStats fileTypes;
  FakeClock clock;
  CReportStore store(commands, fileTypes, clock);
  CProgramSteps().CollectSystemInformation(store);
  const SystemProperties& all = store.GetSystemProperties();
  ASSERT_TRUE(all.contains({L"OSArchitecture", L"OS"}));
  EXPECT_EQ(all.at({L"OSArchitecture", L"OS"}), L"64-bit");
}

}  // namespace
