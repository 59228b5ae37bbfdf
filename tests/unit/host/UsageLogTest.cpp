// What the sample of a host writes, as the sender's own harvester reads it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "samples/host/PeltoHost.h"
#include "tests/support/CodePage.h"
#include "tests/support/StatsText.h"
#include "tests/support/TempFolder.h"
#include "usage/LogHarvester.h"

namespace {

struct HostLog {
  TempFolder folder;
  CommandStats commands;
  FileTypeStats fileTypes;

  HostLog() { Answer("1"); }
  void Answer(const std::string& state) const {
    WriteBytes(folder / L"PeltoReport.ini", "[General]\r\nPeltoState=" + state + "\r\n");
  }
  std::wstring Logs() const { return folder / L"Logs"; }
  pelto::UsageLog Make() const { return {Logs(), folder.Path().wstring()}; }
  std::vector<std::wstring> Files() const {
    std::vector<std::wstring> files;
    if (!Exists(Logs())) return files;
    for (const auto& entry : std::filesystem::directory_iterator(Logs())) {
      files.push_back(entry.path().wstring());
    }
    return files;
  }
  void Harvest() { LogHarvester(commands, fileTypes).Harvest(Logs(), true); }
};

TEST(UsageLog, EachEntryIsCounted) {
  HostLog h;
  {
    pelto::UsageLog log = h.Make();
    log.AddCommand(L"Line");
    log.AddOpenedDocument(L"C:\\Projects\\House v2.1\\Floor plan.dwg");
    log.AddCommand(L"Zoom Extents");
    log.AddCommand(L"Line");
    log.AddSavedDocument(L"C:/Users/first.last/plan.PDF");
    log.AddOpenedDocument(L"C:\\Users\\first.last\\README");
    log.AddOpenedDocument(L"");
  }
  h.Harvest();
  EXPECT_EQ(FormatCommands(h.commands), L"Line 1 2;Zoom Extents 2 1;");
  EXPECT_EQ(FormatFileTypes(h.fileTypes), L" 2 0;.PDF 0 1;.dwg 1 0;");
  EXPECT_TRUE(h.Files().empty());
}

TEST(UsageLog, HasTheTimeInItsFirst23BytesAndNoFolder) {
  const HostLog h;
  {
    pelto::UsageLog log = h.Make();
    log.AddCommand(L"Line");
    log.AddSavedDocument(L"C:\\Projects\\House Weber\\Plan.dwg");
  }
  ASSERT_EQ(h.Files().size(), 1U);
  std::string text = ReadBytes(h.Files().front());
  std::ranges::replace_if(
      text, [](char c) { return c >= '0' && c <= '9'; }, '0');
  const std::string time = "0000-00-00 00:00:00.00 ";
  EXPECT_EQ(text,
            time + "Command = Line\r\n" + time + "OnSaveDocument\r\n" + time + "Plan.dwg\r\n");
}

TEST(UsageLog, IsLeftAloneAsLongAsItIsOpen) {
  HostLog h;
  pelto::UsageLog log = h.Make();
  log.AddCommand(L"Line");
  h.Harvest();
  EXPECT_EQ(FormatCommands(h.commands), L"");
  EXPECT_EQ(h.Files().size(), 1U);

  log.Rotate();
  log.AddCommand(L"Circle");
  h.Harvest();
  EXPECT_EQ(FormatCommands(h.commands), L"Line 1 1;");
}

TEST(UsageLog, IsWrittenOnlyForAUserWhoTakesPart) {
  HostLog h;
  h.Answer("2");
  pelto::UsageLog log = h.Make();
  log.AddCommand(L"Line");
  EXPECT_TRUE(h.Files().empty());

  h.Answer("1");
  log.AddCommand(L"Circle");
  h.Answer("2");
  log.AddCommand(L"Line");
  h.Answer("3");
  log.AddSavedDocument(L"a.dwg");
  h.Harvest();
  EXPECT_EQ(FormatCommands(h.commands), L"Circle 1 1;");
  EXPECT_EQ(FormatFileTypes(h.fileTypes), L"");
}

TEST(UsageLog, WhatALineCannotHoldIsReplaced) {
  HostLog h;
  {
    pelto::UsageLog log = h.Make();
    log.AddCommand(std::wstring(L"a\r\nb\x1A\0c\t", 8));
    log.AddCommand(L"");
    log.AddOpenedDocument(L"a\n.dwg");
    log.AddCommand(L"Last");
  }
  h.Harvest();
  EXPECT_EQ(FormatCommands(h.commands), L"Last 2 1;a__b__c_ 1 1;");
  EXPECT_EQ(FormatFileTypes(h.fileTypes), L".dwg 1 0;");
}

TEST(UsageLog, LongTextsAreCutAndEndNoLog) {
  HostLog h;
  {
    pelto::UsageLog log = h.Make();
    log.AddCommand(std::wstring(5000, L'a'));
    log.AddOpenedDocument(L"C:\\" + std::wstring(5000, L'b') + L".dwg");
    log.AddCommand(L"Last");
  }
  h.Harvest();
  EXPECT_EQ(FormatCommands(h.commands), L"Last 2 1;" + std::wstring(990, L'a') + L" 1 1;");
  EXPECT_EQ(FormatFileTypes(h.fileTypes), L".dwg 1 0;");
}

TEST(UsageLogCodePage, IsInTheCodePageInForce) {
  const CodePageText& sample = GetCodePageText();
  HostLog h;
  {
    pelto::UsageLog log = h.Make();
    log.AddCommand(sample.text);
    log.AddCommand(L"\uD55C");
    log.AddCommand(std::wstring(400, L'a') + std::wstring(900, sample.text[0]));
    log.AddOpenedDocument(std::wstring(L"C:\\") + sample.text + L".dwg");
  }
  h.Harvest();
  const auto& entries = h.commands.GetEntries();
  EXPECT_EQ(entries.size(), 3U);
  EXPECT_TRUE(entries.contains(sample.text));
  EXPECT_TRUE(entries.contains(sample.codePage == 65001 ? L"\uD55C" : L"_"));
  EXPECT_EQ(FormatFileTypes(h.fileTypes), L".dwg 1 0;");
}

TEST(UsageLog, AFileOfAMebibyteIsClosed) {
  HostLog h;
  pelto::UsageLog log = h.Make();
  const std::wstring name(900, L'a');
  for (int i = 0; i < 1200; ++i) log.AddCommand(name);
  h.Harvest();
  EXPECT_EQ(h.Files().size(), 1U);
  const auto counted = h.commands.GetEntries().at(name).count;
  EXPECT_GT(counted, 1000U);
  EXPECT_LT(counted, 1200U);
}

TEST(UsageLog, WithoutAFolderNothingIsWritten) {
  const HostLog h;
  pelto::UsageLog log(h.folder / L"missing\\Logs", h.folder.Path().wstring());
  log.AddCommand(L"Line");
  EXPECT_FALSE(Exists(h.folder / L"missing"));
}

}  // namespace
