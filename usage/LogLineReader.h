#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "usage/ByteSource.h"
#include "usage/MarkFinder.h"
#include "usage/UsageEvent.h"

/// One event of a log: bytes in the ANSI code page, valid until the next event is read.
struct LogEvent {
  UsageEventKind kind;
  /// A command's name with any spaces around it (docs/compatibility.md, 21). Of a document event,
  /// its line from the keyword on.
  std::string_view text;
  /// Of a document event, the extension of the document's path with its leading dot, in its own
  /// letter case, or empty.
  std::string_view fileType;
};

/// Reads the events of one log.
///
/// The log is read in text mode: CR LF ends a line as LF does (a CR elsewhere belongs to its line),
/// and a byte 0x1A ends the file. A NUL byte ends a line's text early. A line of more than 1,023
/// bytes is cut there and is the last one (docs/compatibility.md, 22). Memory does not grow with
/// the log.
class LogLineReader {
 public:
  /// The longest line that is not cut, in bytes without its end.
  static constexpr std::size_t LineLimit = 1023;

  /// Nothing is read before the first `ReadNext`. `source` must outlive the reader.
  explicit LogLineReader(CByteSource& source) : source_(source) {}

  /// The next event, or none at the end of the log's usable lines.
  std::optional<LogEvent> ReadNext();

 private:
  static constexpr std::size_t BufferSize = std::size_t{256} * 1024;

  std::string_view ReadLine();
  std::string_view ReadUnusualLine(const char* at);
  void Refill();
  void End();

  CByteSource& source_;
  std::unique_ptr<char[]> buffer_;
  /// The unread bytes are [begin_, end_), in the buffer. Between two lines, `marks_` has returned
  /// all marks before them and none of theirs.
  const char* begin_ = nullptr;
  const char* end_ = nullptr;
  CMarkFinder marks_;
  /// The source has no more bytes for this reader.
  bool isExhausted_ = false;
  /// No line follows: a line was cut, or an empty one met. There are no unread bytes then.
  bool isEnded_ = false;
  /// A document's line, kept while the line after it is read.
  std::string documentLine_;
};
