#include "store/SettingsFile.h"

#include <gtest/gtest.h>

#include "tests/support/CodePage.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"

namespace {

struct Fixture {
  TempFolder folder;
  std::wstring path = folder / L"PeltoReport.ini";
  CSettingsFile settings;

  Fixture() { settings.SetPath(path); }
  explicit Fixture(const std::string& bytes) : Fixture() { WriteBytes(path, bytes); }
};

TEST(SettingsFile, MissingFileGivesEveryDefault) {
  Fixture f;
  EXPECT_EQ(f.settings.ReadText(L"General", L"Email"), L"");
  EXPECT_EQ(f.settings.ReadInteger(L"General", L"PeltoState", 2), 2);
  EXPECT_FALSE(Exists(f.path)) << "reading makes no file";
}

TEST(SettingsFile, TheFirstWriteMakesTheFile) {
  Fixture f;
  EXPECT_TRUE(f.settings.WriteText(L"PELTO", L"ID", L"x"));
  EXPECT_TRUE(f.settings.WriteText(L"General", L"Email", L"a@b.c"));
  EXPECT_EQ(ReadBytes(f.path), "[PELTO]\r\nID=x\r\n[General]\r\nEmail=a@b.c\r\n");
}

TEST(SettingsFileCodePage, IsInTheCodePageInForce) {
  const CodePageText& sample = GetCodePageText();
  Fixture f;
  EXPECT_TRUE(f.settings.WriteText(L"General", L"Email", sample.text));
  EXPECT_EQ(ReadBytes(f.path), std::string("[General]\r\nEmail=") + sample.bytes + "\r\n");
  EXPECT_EQ(f.settings.ReadText(L"General", L"Email"), sample.text);
}

TEST(SettingsFile, WhatIsWrittenIsReadByAnother) {
  Fixture f;
  f.settings.WriteText(L"General", L"Email", L"a@b.c");
  CSettingsFile another;
  another.SetPath(f.path);
  EXPECT_EQ(another.ReadText(L"General", L"Email"), L"a@b.c");
}

TEST(SettingsFile, NothingIsCached) {
  Fixture f("[General]\r\nEmail=one\r\n");
  EXPECT_EQ(f.settings.ReadText(L"General", L"Email"), L"one");
  WriteBytes(f.path, "[General]\r\nEmail=longer two\r\n");
  EXPECT_EQ(f.settings.ReadText(L"General", L"Email"), L"longer two");
}

TEST(SettingsFile, ValuesAreCutAt1023Characters) {
  const std::string longest(1023, 'x');
  Fixture f("[General]\r\nEmail=" + longest + "y\r\n[PELTO]\r\nID=" + longest + "\r\n");
  EXPECT_EQ(f.settings.ReadText(L"General", L"Email"), std::wstring(1023, L'x'));
  EXPECT_EQ(f.settings.ReadText(L"PELTO", L"ID"), std::wstring(1023, L'x'));
}

TEST(SettingsFile, BackslashNReadsAsALineFeedAndIsWrittenAsItIs) {
  Fixture f("[General]\r\nEmail=a\\nb\r\n");
  EXPECT_EQ(f.settings.ReadText(L"General", L"Email"), L"a\nb");
  f.settings.WriteText(L"General", L"Email", L"c\\nd");
  EXPECT_EQ(ReadBytes(f.path), "[General]\r\nEmail=c\\nd\r\n");
}

TEST(SettingsFile, IntegersFollowTheProfileFunctions) {
  Fixture f("[General]\r\na=3\r\nb=abc\r\nc=\r\nd=12x\r\n");
  EXPECT_EQ(f.settings.ReadInteger(L"General", L"a", 9), 3);
  EXPECT_EQ(f.settings.ReadInteger(L"General", L"b", 9), 0);
  EXPECT_EQ(f.settings.ReadInteger(L"General", L"c", 9), 9);
  EXPECT_EQ(f.settings.ReadInteger(L"General", L"d", 9), 12);
  EXPECT_EQ(f.settings.ReadInteger(L"General", L"e", 9), 9);
}

TEST(SettingsFile, AWriteThatCannotBeMadeIsTold) {
  Fixture f("[General]\r\nEmail=a\r\n");
  const FileHolder holder(L"unshared", f.path);
  EXPECT_FALSE(f.settings.WriteText(L"General", L"Email", L"b"));
}

TEST(SettingsFile, AFileThatIsNoSettingsFileGivesDefaults) {
  Fixture f(std::string("\0\x1A\xFF[[[]]]==\r\r\n=\n[", 17));
  EXPECT_EQ(f.settings.ReadText(L"General", L"Email"), L"");
  EXPECT_EQ(f.settings.ReadInteger(L"General", L"PeltoState", 2), 2);
}

}  // namespace
