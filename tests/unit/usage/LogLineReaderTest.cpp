#include "usage/LogLineReader.h"

#include <gtest/gtest.h>

#include <new>
#include <vector>

#include "tests/support/TestText.h"

namespace {

/// The log with each "#" replaced by a line's prefix.
std::string Log(std::string_view text) {
  std::string log;
  for (const char c : text) log += c == '#' ? Prefix() : std::string(1, c);
  return log;
}

/// The events of a log, one a line: "C name" or "O text|extension" or "S text|extension".
std::string Events(const std::string& log, size_t piece = std::string::npos) {
  MemorySource source(log, piece);
  LogLineReader reader(source);
  std::string events;
  while (const auto event = reader.ReadNext()) {
    events += " OSC"[static_cast<int>(event->kind)];
    events.append(" ").append(event->text);
    if (event->kind != UsageEventKind::Command) events.append("|").append(event->fileType);
    events += "\n";
  }
  EXPECT_FALSE(reader.ReadNext()) << "the end mark stays";
  return events;
}

struct Row {
  std::string log;
  const char* events;
};

void ExpectEvents(const std::vector<Row>& rows) {
  for (const auto& [log, events] : rows) EXPECT_EQ(Events(Log(log)), events) << log;
}

/// A command line of exactly this many bytes, and its event.
std::string CommandOfLength(size_t length) {
  return Log("#Command = ") + std::string(length - 33, 'x');
}
std::string EventOfLength(size_t length) {
  return "C " + std::string(length - 33, 'x') + "\n";
}

TEST(LogLineReader, GivesTheEventsInTheirOrder) {
  ExpectEvents({{"", ""},
                {"#Command = Line\r\n#Idle\r\n#OnOpenDocument\r\n#C:\\a\\b.dwg\r\n"
                 "#Command = Arc\r\n#OnSaveDocument\r\n#C:\\a\\b.pdf\r\n",
                 "C Line\nO OnOpenDocument|.dwg\nC Arc\nS OnSaveDocument|.pdf\n"}});
}

TEST(LogLineReader, GoesOnWithTheSameLineAfterAReadThatThrew) {
  class ThrowsOnce : public CByteSource {
   public:
    std::size_t Read(std::span<char> buffer) override {
      if (++reads_ == 2) throw std::bad_alloc();
      return memory_.Read(buffer);
    }

   private:
    int reads_ = 0;
    // The first piece ends between the NUL byte and the line feed of the second line.
    MemorySource memory_{Log("#Idle\n#Command = A") + '\0' + Log("B\n#Command = C\n"), 64};
  } source;
  LogLineReader reader(source);
  EXPECT_THROW(reader.ReadNext(), std::bad_alloc);
  EXPECT_EQ(reader.ReadNext()->text, "A");
  EXPECT_EQ(reader.ReadNext()->text, "C");
  EXPECT_FALSE(reader.ReadNext());
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
  ExpectEvents(
      {{"#Command =  Line\n#Command = \tLine \n#Command =   \n", "C  Line\nC \tLine \nC   \n"}});
}

TEST(LogLineReader, ACommandLineHasAtLeast33BytesAndAnyLine23) {
  ExpectEvents({{"#Command = \n", "C \n"},
                {"#Command =\n#Command = Line\n", "C Line\n"},
                {"x\n" + Prefix(22) + "\n#\n#Command = Line\n", "C Line\n"},
                {Prefix(22) + "Command = Line\n" + Prefix(22) + "OnOpenDocument\n", ""}});
}

TEST(LogLineReader, TheLastLineNeedsNoLineEnd) {
  ExpectEvents(
      {{"#Command = Line", "C Line\n"}, {"#OnOpenDocument\n#x.dwg", "O OnOpenDocument|.dwg\n"}});
}

TEST(LogLineReader, OnlyOneCarriageReturnBeforeALineFeedIsDropped) {
  ExpectEvents({{"#Command = A\r\n#Command = B\n", "C A\nC B\n"},
                {"#Command = A\rB\r\r\n#Command = C\r", "C A\rB\r\nC C\r\n"},
                {"\r\r\n#Command = A\n", "C A\n"}});
}

TEST(LogLineReader, AnEmptyLineEndsTheLog) {
  ExpectEvents({{"#Command = A\n\n#Command = B\n", "C A\n"},
                {"#Command = A\r\n\r\n#Command = B\n", "C A\n"},
                {"\n#Command = A\n", ""},
                {"#Command = A\n" + std::string("\0x\n", 3) + "#Command = B\n", "C A\n"},
                {" \n#Command = A\n", "C A\n"}});
}

TEST(LogLineReader, SubstituteEndsTheLog) {
  ExpectEvents({{"#Command = A\n\x1A#Command = B\n", "C A\n"},
                {"#Command = A\x1A"
                 "B\n#Command = C\n",
                 "C A\n"},
                {"#Command = A\r\x1A\n", "C A\r\n"},
                {"\x1A", ""}});
}

TEST(LogLineReader, ANulByteEndsALinesText) {
  ExpectEvents({{std::string("#Command = A\0B\n#Command = C\n", 28), "C A\nC C\n"}});
  for (const size_t position : {22U, 32U}) {
    std::string log = Log("#Command = A\n#Command = B\n");
    log[position] = '\0';
    EXPECT_EQ(Events(log), "C B\n") << "the text before byte " << position << " is too short";
  }
}

TEST(LogLineReader, LinesUpTo1023BytesAreReadWhole) {
  for (const size_t length : {1022U, 1023U}) {
    for (const char* end : {"\n", "\r\n"}) {
      EXPECT_EQ(Events(CommandOfLength(length) + end + Log("#Command = B") + end),
                EventOfLength(length) + "C B\n")
          << length;
    }
    EXPECT_EQ(Events(CommandOfLength(length)), EventOfLength(length));
  }
}

TEST(LogLineReader, LinesFrom1024BytesAreCutAndEndTheLog) {
  for (const size_t length : {1024U, 1025U, 1026U, 3000U, 600'000U}) {
    for (const char* end : {"\n", "\r\n"}) {
      EXPECT_EQ(Events(CommandOfLength(length) + end + Log("#Command = B") + end),
                EventOfLength(1023))
          << length;
    }
    EXPECT_EQ(Events(CommandOfLength(length)), EventOfLength(1023)) << length;
  }
  EXPECT_EQ(Events(Log("#" + std::string(2000, 'x') + "\n#Command = B\n")), "")
      << "a line that is not an event line, too";
}

TEST(LogLineReader, ACarriageReturnAtThe1024thByteCutsUnlessALineFeedFollows) {
  const std::string line = CommandOfLength(1023);
  EXPECT_EQ(Events(line + Log("\r\n#Command = B")), EventOfLength(1023) + "C B\n");
  for (const char* rest : {"\rx\n#Command = B", "\r\r\n#Command = B", "\r"}) {
    EXPECT_EQ(Events(line + Log(rest)), EventOfLength(1023)) << rest;
  }
}

TEST(LogLineReader, NulBytesCountTowardsTheLimit) {
  const std::string line = Log("#Command = A") + std::string(1023 - 34, '\0');
  EXPECT_EQ(Events(line + Log("\n#Command = B")), "C A\nC B\n");
  EXPECT_EQ(Events(line + '\0' + Log("\n#Command = B")), "C A\n");
}

TEST(LogLineReader, ADocumentLineNeedsAPathLineOf23Bytes) {
  ExpectEvents({{"#OnOpenDocument", ""},
                {"#OnSaveDocument\n", ""},
                {"#OnOpenDocument\n" + Prefix(22) + "\n#Command = A\n", "C A\n"},
                {"#OnOpenDocument\n#\n", "O OnOpenDocument|\n"}});
}

TEST(LogLineReader, AnEventLineInThePathsPlaceIsConsumed) {
  ExpectEvents({{"#OnOpenDocument\n#Command = A.b\n#Command = C\n", "O OnOpenDocument|.b\nC C\n"},
                {"#OnOpenDocument\n#OnSaveDocument\n#C:\\x.dwg\n", "O OnOpenDocument|\n"}});
}

TEST(LogLineReader, AnEmptyLineInThePathsPlaceDoesNotEndTheLog) {
  ExpectEvents({{"#OnOpenDocument\n\n#Command = A\n", "C A\n"},
                {"#OnSaveDocument\n\n#Command = A\n", "C A\n"},
                {"#OnOpenDocument\n\n\n#Command = A\n", ""},
                {"#OnSaveDocument\n\n\n#Command = A\n", ""}});
}

TEST(LogLineReader, TheTextOfADocumentEventIsItsLine) {
  ExpectEvents({{"#OnOpenDocumentX  y\n#a.b\n", "O OnOpenDocumentX  y|.b\n"}});
}

TEST(LogLineReader, ACutPathLineStillCountsAndEndsTheLog) {
  const std::string extension = ".dwg" + std::string(1023 - 31, 'x');
  const std::string log = "#OnOpenDocument\n#C:\\a" + extension;
  const std::string event = "O OnOpenDocument|" + extension + "\n";
  EXPECT_EQ(Events(Log(log + "\n#Command = A")), event + "C A\n");
  EXPECT_EQ(Events(Log(log + "y\n#Command = A")), event);
}

TEST(LogLineReader, ACutDocumentLineHasNoPathLine) {
  ExpectEvents({{"#OnOpenDocument" + std::string(1024 - 37, 'x') + "\n#a.dwg", ""}});
}

TEST(LogLineReader, HowTheBytesArriveDoesNotMatter) {
  std::string log;
  for (unsigned i = 0; i < 300; ++i) {
    log += Log("#Command = Line " + std::to_string(i) + "\r\n#OnSaveDocument\r\n#C:\\a." +
               std::to_string(i % 7) + "\r\n#" + std::string(i * 3 % 990, '-') + "\n");
  }
  const std::string whole = Events(log);
  EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 600);
  for (const size_t piece : {1U, 2U, 7U, 1023U, 1024U, 1025U, 4096U}) {
    EXPECT_EQ(Events(log, piece), whole) << piece;
  }
}

// A log is read in pieces of 256 KiB, and searched in blocks of 64 bytes.
TEST(LogLineReader, APieceMayEndAtAnyByte) {
  const std::string log =
      Log("#Command = A\r\n#OnOpenDocument\r\n#C:\\b.dwg\n#Command = C") + '\0' +
      Log("D\n#Command = E\rF\r\r\n" + std::string(1000, '-') + "\r\n#OnSaveDocument\n\n") +
      CommandOfLength(1023) + Log("\r\n#Command = G\x1A\n#Command = H\n");
  const std::string events =
      "C A\nO OnOpenDocument|.dwg\nC C\nC E\rF\r\n" + EventOfLength(1023) + "C G\n";
  ASSERT_EQ(Events(log), events);
  for (size_t inPiece = 0; inPiece <= log.size(); ++inPiece) {
    // The piece ends after this many bytes of `log`, which follow other lines.
    std::string lines(size_t{256} * 1024 - inPiece, '.');
    for (size_t end = lines.size(); end > 64; end -= 64) lines[end - 1] = '\n';
    ASSERT_EQ(Events(lines + log), events) << inPiece;
  }
}

}  // namespace
