#include "usage/LogLineReader.h"

#include <gtest/gtest.h>

#include "tests/support/TestText.h"

namespace {

/// The events of a log, one a line: "C name" or "O text|extension" or "S text|extension".
std::string Events(const std::string& log, size_t piece = std::string::npos) {
  MemorySource source(log, piece);
  LogLineReader reader(source);
  std::string events;
  while (const auto event = reader.ReadNext()) {
    switch (event->kind) {
      case UsageEventKind::Command:
        events += "C ";
        break;
      case UsageEventKind::OpenDocument:
        events += "O ";
        break;
      case UsageEventKind::SaveDocument:
        events += "S ";
        break;
    }
    events += event->text;
    if (event->kind != UsageEventKind::Command) events.append("|").append(event->fileType);
    events += "\n";
  }
  EXPECT_FALSE(reader.ReadNext()) << "the end mark stays";
  return events;
}

std::string Command(const std::string& name) {
  return Prefix() + "Command = " + name;
}
std::string Line(const std::string& text) {
  return Prefix() + text;
}
/// A command line of exactly this many bytes.
std::string CommandOfLength(size_t length) {
  return Command(std::string(length - 33, 'x'));
}

TEST(LogLineReader, GivesTheEventsInTheirOrder) {
  EXPECT_EQ(Events(Command("Line") + "\r\n" + Line("Idle") + "\r\n" + Line("OnOpenDocument") +
                   "\r\n" + Line("C:\\a\\b.dwg") + "\r\n" + Command("Arc") + "\r\n" +
                   Line("OnSaveDocument") + "\r\n" + Line("C:\\a\\b.pdf") + "\r\n"),
            "C Line\nO OnOpenDocument|.dwg\nC Arc\nS OnSaveDocument|.pdf\n");
}

TEST(LogLineReader, AnEmptyLogHasNoEvents) {
  EXPECT_EQ(Events(""), "");
}

TEST(LogLineReader, ReadsNothingBeforeItIsAsked) {
  class Counting : public CByteSource {
   public:
    std::size_t Read(std::span<char>) override { return ++reads, 0; }
    int reads = 0;
  } source;
  LogLineReader reader(source);
  EXPECT_EQ(source.reads, 0);
  EXPECT_FALSE(reader.ReadNext());
  EXPECT_GE(source.reads, 1);
}

TEST(LogLineReader, TheCommandNameIsNotTrimmed) {
  EXPECT_EQ(Events(Command(" Line") + "\n" + Command("\tLine ") + "\n" + Command("  ") + "\n"),
            "C  Line\nC \tLine \nC   \n");
}

TEST(LogLineReader, ACommandLineOf33BytesHasAnEmptyName) {
  EXPECT_EQ(Events(Command("") + "\n"), "C \n");
}

TEST(LogLineReader, ACommandLineOf32BytesIsNoEvent) {
  EXPECT_EQ(Events(Prefix() + "Command =\n" + Command("Line") + "\n"), "C Line\n");
}

TEST(LogLineReader, LinesUnder23BytesAreSkipped) {
  EXPECT_EQ(Events("x\n" + Prefix(22) + "\n" + Prefix(23) + "\n" + Command("Line") + "\n"),
            "C Line\n");
}

TEST(LogLineReader, APrefixOf22BytesMakesEveryLineUnrecognised) {
  EXPECT_EQ(Events(Prefix(22) + "Command = Line\n" + Prefix(22) + "OnOpenDocument\n"), "");
}

TEST(LogLineReader, TheLastLineNeedsNoLineEnd) {
  EXPECT_EQ(Events(Command("Line")), "C Line\n");
  EXPECT_EQ(Events(Line("OnOpenDocument") + "\n" + Line("x.dwg")), "O OnOpenDocument|.dwg\n");
}

TEST(LogLineReader, OneCarriageReturnBeforeALineFeedIsDropped) {
  EXPECT_EQ(Events(Command("A") + "\r\n" + Command("B") + "\n"), "C A\nC B\n");
}

TEST(LogLineReader, AnyOtherCarriageReturnBelongsToItsLine) {
  EXPECT_EQ(Events(Command("A\rB") + "\r\r\n" + Command("C") + "\r"), "C A\rB\r\nC C\r\n");
}

TEST(LogLineReader, ALineOfOneCarriageReturnIsNotBlank) {
  EXPECT_EQ(Events("\r\r\n" + Command("A") + "\n"), "C A\n");
}

TEST(LogLineReader, ABlankLineEndsTheLog) {
  EXPECT_EQ(Events(Command("A") + "\n\n" + Command("B") + "\n"), "C A\n");
  EXPECT_EQ(Events(Command("A") + "\r\n\r\n" + Command("B") + "\n"), "C A\n");
  EXPECT_EQ(Events("\n" + Command("A") + "\n"), "");
}

TEST(LogLineReader, ALineOfBlanksIsNotBlank) {
  EXPECT_EQ(Events(" \n" + Command("A") + "\n"), "C A\n");
}

TEST(LogLineReader, SubstituteEndsTheLog) {
  EXPECT_EQ(Events(Command("A") + "\n\x1A" + Command("B") + "\n"), "C A\n");
  EXPECT_EQ(Events(Command("A\x1A"
                           "B") +
                   "\n" + Command("C") + "\n"),
            "C A\n");
  EXPECT_EQ(Events(Command("A\r\x1A\n")), "C A\r\n");
  EXPECT_EQ(Events("\x1A"), "");
}

TEST(LogLineReader, ANulByteEndsALinesText) {
  EXPECT_EQ(Events(Command(std::string("A\0B", 3)) + "\n" + Command("C") + "\n"), "C A\nC C\n");
}

TEST(LogLineReader, ALineThatANulByteMakesTooShortIsSkipped) {
  std::string line = Command("A");
  line[22] = '\0';
  EXPECT_EQ(Events(line + "\n" + Command("B") + "\n"), "C B\n");
  line = Command("A");
  line[32] = '\0';
  EXPECT_EQ(Events(line + "\n" + Command("B") + "\n"), "C B\n");
}

TEST(LogLineReader, ALineThatBeginsWithANulByteIsBlank) {
  EXPECT_EQ(Events(Command("A") + "\n" + std::string("\0x\n", 3) + Command("B") + "\n"), "C A\n");
}

TEST(LogLineReader, LinesUpTo1023BytesAreReadWhole) {
  for (const size_t length : {1022U, 1023U}) {
    for (const char* end : {"\n", "\r\n"}) {
      const std::string line = CommandOfLength(length);
      EXPECT_EQ(Events(line + end + Command("B") + end), "C " + line.substr(33) + "\nC B\n")
          << length;
    }
    EXPECT_EQ(Events(CommandOfLength(length)), "C " + std::string(length - 33, 'x') + "\n");
  }
}

TEST(LogLineReader, LinesFrom1024BytesAreCutAndEndTheLog) {
  for (const size_t length : {1024U, 1025U, 1026U, 3000U, 600'000U}) {
    for (const char* end : {"\n", "\r\n"}) {
      EXPECT_EQ(Events(CommandOfLength(length) + end + Command("B") + end),
                "C " + std::string(1023 - 33, 'x') + "\n")
          << length;
    }
    EXPECT_EQ(Events(CommandOfLength(length)), "C " + std::string(1023 - 33, 'x') + "\n");
  }
}

TEST(LogLineReader, ACarriageReturnAtThe1024thByteCutsUnlessALineFeedFollows) {
  const std::string line = CommandOfLength(1023);
  const std::string event = "C " + line.substr(33) + "\n";
  EXPECT_EQ(Events(line + "\r\n" + Command("B")), event + "C B\n");
  EXPECT_EQ(Events(line + "\rx\n" + Command("B")), event);
  EXPECT_EQ(Events(line + "\r\r\n" + Command("B")), event);
  EXPECT_EQ(Events(line + "\r"), event);
}

TEST(LogLineReader, NulBytesCountTowardsTheLimit) {
  const std::string line = Command("A") + std::string(1023 - 34, '\0');
  ASSERT_EQ(line.size(), 1023U);
  EXPECT_EQ(Events(line + "\n" + Command("B")), "C A\nC B\n");
  EXPECT_EQ(Events(line + std::string(1, '\0') + "\n" + Command("B")), "C A\n");
}

TEST(LogLineReader, ALongLineThatIsNoEventEndsTheLogToo) {
  EXPECT_EQ(Events(Line(std::string(2000, 'x')) + "\n" + Command("B") + "\n"), "");
}

TEST(LogLineReader, ADocumentLineAtTheEndGivesNoEvent) {
  EXPECT_EQ(Events(Line("OnOpenDocument")), "");
  EXPECT_EQ(Events(Line("OnSaveDocument") + "\n"), "");
}

TEST(LogLineReader, AShortPathLineGivesNoEventAndIsConsumed) {
  EXPECT_EQ(Events(Line("OnOpenDocument") + "\n" + Prefix(22) + "\n" + Command("A") + "\n"),
            "C A\n");
}

TEST(LogLineReader, APathLineOf23BytesIsAnEmptyPath) {
  EXPECT_EQ(Events(Line("OnOpenDocument") + "\n" + Prefix(23) + "\n"), "O OnOpenDocument|\n");
}

TEST(LogLineReader, AnEventLineInThePathsPlaceIsConsumed) {
  EXPECT_EQ(Events(Line("OnOpenDocument") + "\n" + Command("A.b") + "\n" + Command("C") + "\n"),
            "O OnOpenDocument|.b\nC C\n");
  EXPECT_EQ(Events(Line("OnOpenDocument") + "\n" + Line("OnSaveDocument") + "\n" +
                   Line("C:\\x.dwg") + "\n"),
            "O OnOpenDocument|\n");
}

TEST(LogLineReader, ABlankLineInThePathsPlaceDoesNotEndTheLog) {
  for (const char* document : {"OnOpenDocument", "OnSaveDocument"}) {
    EXPECT_EQ(Events(Line(document) + "\n\n" + Command("A") + "\n"), "C A\n") << document;
    EXPECT_EQ(Events(Line(document) + "\n\n\n" + Command("A") + "\n"), "") << document;
  }
}

TEST(LogLineReader, TheTextOfADocumentEventIsItsLine) {
  EXPECT_EQ(Events(Line("OnOpenDocumentX  y") + "\n" + Line("a.b") + "\n"),
            "O OnOpenDocumentX  y|.b\n");
}

TEST(LogLineReader, ACutPathLineStillCountsAndEndsTheLog) {
  const std::string path = Line("C:\\a.dwg" + std::string(1023 - 31, 'x'));
  ASSERT_EQ(path.size(), 1023U);
  const std::string event = "O OnOpenDocument|.dwg" + std::string(1023 - 31, 'x') + "\n";
  EXPECT_EQ(Events(Line("OnOpenDocument") + "\n" + path + "\n" + Command("A")), event + "C A\n");
  EXPECT_EQ(Events(Line("OnOpenDocument") + "\n" + path + "y\n" + Command("A")), event);
}

TEST(LogLineReader, ACutDocumentLineHasNoPathLine) {
  EXPECT_EQ(Events(Line("OnOpenDocument" + std::string(1024 - 37, 'x')) + "\n" + Line("a.dwg")),
            "");
}

TEST(LogLineReader, HowTheBytesArriveDoesNotMatter) {
  std::string log;
  for (unsigned i = 0; i < 300; ++i) {
    log += Command("Line " + std::to_string(i)) + "\r\n" + Line("OnSaveDocument") + "\r\n" +
           Line("C:\\a." + std::to_string(i % 7)) + "\r\n" + Line(std::string(i * 3 % 990, '-')) +
           "\n";
  }
  const std::string whole = Events(log);
  EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 600);
  for (const size_t piece : {1U, 2U, 7U, 1023U, 1024U, 1025U, 4096U}) {
    EXPECT_EQ(Events(log, piece), whole) << piece;
  }
}

}  // namespace
