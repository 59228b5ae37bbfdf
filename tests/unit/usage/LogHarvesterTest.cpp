#include "usage/LogHarvester.h"

#include <gtest/gtest.h>

#include <new>

#include "platform/WindowsHeader.h"
#include "tests/support/CodePage.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestText.h"
#include "tests/support/ThrowingRead.h"

namespace {

struct Harvest {
  TempFolder folder;
  CommandStats commands;
  FileTypeStats fileTypes;

  std::wstring Log(const wchar_t* name, const std::string& bytes = Command("Line")) const {
    const std::wstring path = folder / name;
    WriteBytes(path, bytes);
    return path;
  }
  int Run(bool deletes = true) {
    return LogHarvester(commands, fileTypes).Harvest(folder.Path().wstring(), deletes);
  }
  std::uint64_t Count(const wchar_t* name) const {
    const auto entry = commands.GetEntries().find(name);
    return entry == commands.GetEntries().end() ? 0 : entry->second.count;
  }
  static std::string Command(const std::string& name) {
    return Prefix() + "Command = " + name + "\r\n";
  }
};

TEST(LogHarvester, CountsAndDeletesEveryLog) {
  Harvest h;
  const std::wstring first = h.Log(L"a.log");
  const std::wstring second =
      h.Log(L"b.log", Harvest::Command("Line") + Prefix() + "OnOpenDocument\r\n" + Prefix() +
                          "C:\\a.dwg\r\n");
  EXPECT_EQ(h.Run(), 1);
  EXPECT_EQ(h.Count(L"Line"), 2U);
  EXPECT_EQ(h.fileTypes.GetEntries().at(L".dwg").ocnt, 1U);
  EXPECT_FALSE(Exists(first));
  EXPECT_FALSE(Exists(second));
}

TEST(LogHarvesterCodePage, ReadsLogsInTheCodePageInForce) {
  const CodePageText& sample = GetCodePageText();
  Harvest h;
  h.Log(L"a.log", Harvest::Command(sample.bytes) + Prefix() + "OnOpenDocument\r\n" + Prefix() +
                      "C:\\a." + sample.bytes + "x\r\n" + Prefix() + "OnSaveDocument\r\n" +
                      Prefix() + "C:\\\x83.dwg\r\n");
  EXPECT_EQ(h.Run(), 1);
  EXPECT_EQ(h.Count(sample.text), 1U);
  // The space in most samples leaves no extension.
  const bool hasSpace = std::wstring_view(sample.text).find(L' ') != std::wstring_view::npos;
  EXPECT_EQ(
      h.fileTypes.GetEntries().at(hasSpace ? L"" : L"." + std::wstring(sample.text) + L"x").ocnt,
      1U);
  EXPECT_EQ(h.fileTypes.GetEntries().at(IsDoubleByteCodePage() ? L"" : L".dwg").scnt, 1U);
}

TEST(LogHarvesterCodePage, TwoNamesWithOneTextAreOneCommand) {
  // Windows-31J has some characters twice, and in UTF-8 every byte that begins none is U+FFFD. The
  // other code pages have no two names with one text.
  const UINT codePage = GetACP();
  const std::string other = codePage == 932 ? "\xEE\xF9" : codePage == CP_UTF8 ? "\xFE" : "\x41";
  const std::string name = codePage == 932 ? "\x81\xCA" : codePage == CP_UTF8 ? "\xFF" : "\x41";
  Harvest h;
  h.Log(L"a.log", Harvest::Command(name) + Harvest::Command(other) + Harvest::Command(name) +
                      Harvest::Command(other));
  EXPECT_EQ(h.Run(), 1);
  ASSERT_EQ(h.commands.GetEntries().size(), 1U);
  EXPECT_EQ(h.commands.GetEntries().begin()->second.count, 4U);
}

TEST(LogHarvester, DeletesALogWhateverItHeld) {
  Harvest h;
  const std::wstring empty = h.Log(L"empty.log", "");
  const std::wstring strange = h.Log(L"strange.log", std::string("\0\x1A\xFF", 3));
  const std::wstring shortPrefix = h.Log(L"short.log", Prefix(22) + "Command = Line\r\n");
  const std::wstring emptyLine = h.Log(L"line.log", "\r\n" + Harvest::Command("Line"));
  EXPECT_EQ(h.Run(), 1);
  EXPECT_TRUE(h.commands.GetEntries().empty());
  for (const std::wstring& path : {empty, strange, shortPrefix, emptyLine})
    EXPECT_FALSE(Exists(path));
}

TEST(LogHarvester, KeepsTheLogsWhenItIsNotToDeleteThem) {
  Harvest h;
  const std::wstring path = h.Log(L"a.log");
  EXPECT_EQ(h.Run(false), 1);
  EXPECT_EQ(h.Count(L"Line"), 1U);
  EXPECT_TRUE(Exists(path));
}

TEST(LogHarvester, LeavesOtherFilesAlone) {
  Harvest h;
  const std::wstring text = h.Log(L"a.txt");
  const std::wstring noExtension = h.Log(L"log");
  EXPECT_EQ(h.Run(), 1);
  EXPECT_TRUE(h.commands.GetEntries().empty());
  EXPECT_TRUE(Exists(text));
  EXPECT_TRUE(Exists(noExtension));
}

TEST(LogHarvester, TakesEveryLetterCaseOfTheEnding) {
  Harvest h;
  h.Log(L"A.LOG");
  h.Log(L"b.Log");
  h.Run();
  EXPECT_EQ(h.Count(L"Line"), 2U);
}

// The search also compares the short names of the file system, in which "x.log1" ends in ".LOG".
TEST(LogHarvester, TakesALongerEndingWhoseShortNameMatches) {
  Harvest h;
  const std::wstring path = h.Log(L"x.log1");
  h.Run();
  EXPECT_EQ(h.Count(L"Line"), 1U);
  EXPECT_FALSE(Exists(path));
}

TEST(LogHarvester, SkipsALogThatIsHeldOpenForWriting) {
  Harvest h;
  const std::wstring held = h.Log(L"held.log", Harvest::Command("Held"));
  h.Log(L"free.log");
  {
    const FileHolder holder(L"write", held);
    EXPECT_EQ(h.Run(), 1);
    EXPECT_TRUE(Exists(held));
    EXPECT_EQ(h.Count(L"Held"), 0U);
    EXPECT_EQ(h.Count(L"Line"), 1U);
  }
  h.Run();
  EXPECT_EQ(h.Count(L"Held"), 1U) << "read once it is free";
  EXPECT_FALSE(Exists(held));
}

TEST(LogHarvester, SkipsALogThatIsHeldUnshared) {
  Harvest h;
  const std::wstring held = h.Log(L"held.log");
  const FileHolder holder(L"unshared", held);
  h.Run();
  EXPECT_TRUE(h.commands.GetEntries().empty());
  EXPECT_TRUE(Exists(held));
}

TEST(LogHarvester, ReadsALogThatOthersOnlyRead) {
  Harvest h;
  const std::wstring held = h.Log(L"held.log");
  const FileHolder holder(L"read", held);
  h.Run();
  EXPECT_EQ(h.Count(L"Line"), 1U);
}

TEST(LogHarvester, SkipsAFolderThatIsNamedLikeALog) {
  Harvest h;
  const std::wstring path = h.folder / L"folder.log";
  ASSERT_TRUE(CreateDirectoryW(path.c_str(), nullptr));
  h.Log(L"z.log");
  EXPECT_EQ(h.Run(), 1);
  EXPECT_EQ(h.Count(L"Line"), 1U);
  EXPECT_TRUE(Exists(path));
}

TEST(LogHarvester, CountsALogAgainThatItCannotDelete) {
  Harvest h;
  const std::wstring path = h.Log(L"a.log");
  ASSERT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(h.Run(), 1);
  EXPECT_EQ(h.Run(), 1);
  EXPECT_EQ(h.Count(L"Line"), 2U);
  EXPECT_TRUE(Exists(path));
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(LogHarvester, AnExceptionLeavesTheLogThatItCameFromAndThoseAfterIt) {
  Harvest h;
  std::string longLog;
  while (longLog.size() < 300'000) longLog += Harvest::Command("Long");
  const std::wstring read = h.Log(L"a.log");
  const std::wstring broken = h.Log(L"b.log", longLog);
  const std::wstring unread = h.Log(L"c.log");
  {
    const ThrowingRead reads(3);  // two for the first log, and one for the second
    EXPECT_THROW(h.Run(), std::bad_alloc);
  }
  EXPECT_FALSE(Exists(read));
  EXPECT_TRUE(Exists(broken));
  EXPECT_TRUE(Exists(unread));
  EXPECT_EQ(h.Count(L"Line"), 1U);
  EXPECT_GT(h.Count(L"Long"), 0U) << "the exception came out of the middle";
  EXPECT_EQ(h.Run(), 1) << "nothing holds the logs";
  EXPECT_FALSE(Exists(broken));
  EXPECT_FALSE(Exists(unread));
}

TEST(LogHarvester, AnEmptyOrMissingFolderIsNoError) {
  Harvest h;
  EXPECT_EQ(h.Run(), 1);
  EXPECT_EQ(LogHarvester(h.commands, h.fileTypes).Harvest(h.folder / L"none", true), 1);
  EXPECT_EQ(LogHarvester(h.commands, h.fileTypes).Harvest(std::wstring(2000, L'x'), true), 1);
  EXPECT_TRUE(h.commands.GetEntries().empty());
}

}  // namespace
