#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "usage/ByteSource.h"
#include "usage/UsageEvent.h"

/// One event as it stands in the log: bytes in the ANSI code page, valid until the next event is
/// asked for.
struct LogEvent {
  UsageEventKind kind;
  /// A command's name, untrimmed: blanks before it belong to it. Of a document event, its line
  /// from the keyword on.
  std::string_view text;
  /// Of a document event, the extension of the document's path with its leading dot, in its own
  /// letter case, or empty.
  std::string_view fileType;
};

/// Cuts the events out of one log.
///
/// The log is read as text: CR LF ends a line as LF does (a CR elsewhere belongs to its line), and
/// a byte 0x1A ends the file. A line is a C text of at most 1,023 bytes: a NUL byte ends it early,
/// and a longer line is cut there and is the file's last. Memory does not grow with the log.
class LogLineReader {
 public:
  /// The longest line that is read whole, in bytes without its end.
  static constexpr std::size_t LineLimit = 1023;

  /// Nothing is read before the first `ReadNext`. `source` must outlive the reader.
  explicit LogLineReader(CByteSource& source) : source_(source) {}

  /// The next event, or none at the end of the log's usable lines.
  std::optional<LogEvent> ReadNext();

 private:
  static constexpr std::size_t BufferSize = std::size_t{256} * 1024;

  std::string_view ReadLine();
  void Refill();

  CByteSource& source_;
  std::unique_ptr<char[]> buffer_;
  /// The unread bytes are buffer_[begin_, end_).
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  /// The source has no more bytes for this reader.
  bool isExhausted_ = false;
  /// No line follows: a line was cut, or a blank one met.
  bool isEnded_ = false;
  /// A document's line is kept while the line behind it is read.
  std::string documentLine_;
};
