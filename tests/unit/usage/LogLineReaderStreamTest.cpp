// The reader against the C++ library's own text stream and line read, whose behavior it promises.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestText.h"
#include "usage/LogFile.h"
#include "usage/LogLine.h"
#include "usage/LogLineReader.h"

namespace {

/// Reads a line into a zero-filled buffer; false at the end of the usable lines.
class StreamLines {
 public:
  explicit StreamLines(const std::wstring& path) : file_(std::filesystem::path(path)) {}

  std::string Read() {
    char buffer[1024] = {};
    file_.getline(buffer, sizeof buffer);
    return {buffer, std::strlen(buffer)};
  }

 private:
  std::ifstream file_;
};

std::vector<std::string> EventsOfStream(const std::wstring& path) {
  StreamLines lines(path);
  std::vector<std::string> events;
  for (std::string line = lines.Read(); !line.empty(); line = lines.Read()) {
    const auto kind = ClassifyLine(line);
    if (kind == UsageEventKind::Command) {
      events.push_back("C" + line.substr(33));
    } else if (kind) {
      const std::string next = lines.Read();
      if (next.size() < 23) continue;
      const size_t last = next.find_last_of(".\\ ");
      const bool hasExtension = last != std::string::npos && last >= 23 && next[last] == '.';
      events.push_back(line.substr(23) + "|" + (hasExtension ? next.substr(last) : ""));
    }
  }
  return events;
}

std::vector<std::string> EventsOfReader(const std::wstring& path) {
  CLogFile file(path);
  LogLineReader reader(file);
  std::vector<std::string> events;
  while (const auto event = reader.ReadNext()) {
    events.push_back(event->kind == UsageEventKind::Command
                         ? "C" + std::string(event->text)
                         : std::string(event->text) + "|" + std::string(event->fileType));
  }
  return events;
}

std::string RandomLog(std::mt19937& random) {
  static const std::vector<std::string> ends = {"\n",   "\n",   "\r\n", "\r\n", "\r\n",
                                                "\r\n", "\r\n", "\r\n", "\r",   "\r\r\n"};
  static const std::vector<std::string> texts = {
      "Command = Line", "Command = ", "Command =",       "OnOpenDocument", "OnSaveDocument",
      "C:\\a b\\c.dwg", "C:\\a.b\\c", "OnOpenDocumentX", "command = x",    "Command =  Two words"};
  std::string log;
  for (unsigned lines = random() % 30; lines > 0; --lines) {
    switch (random() % 40) {
      case 0:
        break;  // an empty line
      case 1:
        log += std::string(1, '\0');
        break;
      case 2:
        log += '\x1A';
        break;
      case 3:
        log += Prefix() + "Command = " + std::string(985 + random() % 8, 'x');
        break;
      case 4:
        log += Prefix(random() % 26);
        break;
      case 5:
        log += Prefix() + "Command = A" + std::string(1, '\0') + "B\rC";
        break;
      default:
        log += Prefix() + texts[random() % texts.size()];
    }
    if (lines > 1 || random() % 2 == 0) log += ends[random() % ends.size()];
  }
  return log;
}

TEST(LogLineReader, ReadsAsATextStreamReads) {
  const TempFolder folder;
  const std::wstring path = folder / L"a.log";
  std::mt19937 random(5);
  size_t events = 0;
  for (int i = 0; i < 1500; ++i) {
    const std::string log = RandomLog(random);
    WriteBytes(path, log);
    const std::vector<std::string> expected = EventsOfStream(path);
    ASSERT_EQ(EventsOfReader(path), expected) << "log " << i << ":\n" << log;
    events += expected.size();
  }
  EXPECT_GT(events, 4'000U) << "too few of the lines were events";
}

TEST(LogFile, LetsOthersReadAndWriteMeanwhile) {
  const TempFolder folder;
  const std::wstring path = folder / L"a.log";
  WriteBytes(path, "abc");
  CLogFile file(path);
  char byte = 0;
  ASSERT_EQ(file.Read({&byte, 1}), 1U);
  const FileHolder writer(L"write", path);
  const FileHolder reader(L"read", path);
  EXPECT_EQ(file.Read({&byte, 1}), 1U);
  EXPECT_EQ(byte, 'b');
}

TEST(LogFile, IsOpenedOnTheFirstRead) {
  const TempFolder folder;
  const std::wstring path = folder / L"a.log";
  CLogFile file(path);
  WriteBytes(path, "abc");
  char bytes[8];
  EXPECT_EQ(file.Read(bytes), 3U);
  EXPECT_EQ(file.Read(bytes), 0U);
}

TEST(LogFile, AMissingFileHasNoBytes) {
  const TempFolder folder;
  EXPECT_TRUE(EventsOfReader(folder / L"none.log").empty());
}

}  // namespace
