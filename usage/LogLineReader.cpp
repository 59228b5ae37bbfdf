#include "usage/LogLineReader.h"

#include <cstring>

#include "platform/FileExtension.h"
#include "usage/LogBytes.h"
#include "usage/LogLine.h"

namespace {

/// Makes the event where it is returned: to copy what was just written, the processor must wait.
std::optional<LogEvent> MakeEvent(UsageEventKind kind, std::string_view text,
                                  std::string_view fileType) {
  std::optional<LogEvent> event(std::in_place);
  event->kind = kind;
  event->text = text;
  event->fileType = fileType;
  return event;
}

}  // namespace

std::optional<LogEvent> LogLineReader::ReadNext() {
  for (;;) {
    const std::string_view line = ReadLine();
    // An empty line is the log's end mark: what follows it must not be counted
    // (docs/compatibility.md, 19).
    if (line.empty()) {
      End();
      return {};
    }
    const std::optional<UsageEventKind> kind = ClassifyLine(line);
    if (!kind) continue;
    const std::string_view text = line.substr(LogPrefixLength);
    if (*kind == UsageEventKind::Command) {
      return MakeEvent(*kind, text.substr(CommandKeyword.size()), {});
    }
    // The document's path is on the next line, which is consumed whatever it holds: an event line
    // is not counted there, and an empty line does not end the log (docs/compatibility.md, 20).
    documentLine_ = text;
    const std::string_view pathLine = ReadLine();
    if (pathLine.size() < LogPrefixLength) continue;
    return MakeEvent(*kind, documentLine_, FindExtension(pathLine.substr(LogPrefixLength)));
  }
}

/// The next line without its end, up to a NUL byte. Empty also when there is none.
inline std::string_view LogLineReader::ReadLine() {
  // Nearly every line ends at its first mark and is short enough.
  const char* const mark = marks_.Next();
  std::string_view line(begin_, static_cast<std::size_t>(mark - begin_));
  if (mark == end_ || *mark != LineFeed || line.size() > LineLimit) return ReadUnusualLine(mark);
  begin_ = mark + 1;
  if (line.ends_with(CarriageReturn)) line.remove_suffix(1);
  return line;
}

/// The next line whatever it holds. `at` is its first mark, or `end_`.
std::string_view LogLineReader::ReadUnusualLine(const char* at) {
  if (isEnded_) return {};
  const char* textEnd = nullptr;
  for (;; at = marks_.Next()) {
    if (at == end_) {
      const auto unread = static_cast<std::size_t>(end_ - begin_);
      // A longer line than this, with its carriage return and line feed, is cut anyway.
      if (isExhausted_ || unread > LineLimit + 1) break;
      const std::ptrdiff_t text = textEnd == nullptr ? 0 : textEnd - begin_;
      Refill();
      if (textEnd != nullptr) textEnd = begin_ + text;
    } else if (*at == LineFeed) {
      break;
    } else if (*at == Substitute) {
      end_ = at;
      isExhausted_ = true;
      marks_.Start(end_, end_);
    } else if (textEnd == nullptr) {
      textEnd = at;
    }
  }

  std::string_view line(begin_, static_cast<std::size_t>(at - begin_));
  const std::size_t textSize =
      textEnd == nullptr ? line.size() : static_cast<std::size_t>(textEnd - begin_);
  const bool hasLineFeed = at != end_;
  begin_ = at + (hasLineFeed ? 1 : 0);
  if (hasLineFeed && line.ends_with(CarriageReturn)) line.remove_suffix(1);
  if (line.size() > LineLimit) {
    line = line.substr(0, LineLimit);
    End();
  }
  return line.substr(0, textSize);
}

/// Moves the unread bytes, whose marks have all been returned, to the buffer's start and reads more
/// after them.
void LogLineReader::Refill() {
  if (!buffer_) {
    buffer_ = std::make_unique_for_overwrite<char[]>(BufferSize);
    begin_ = end_ = buffer_.get();
  }
  const auto unread = static_cast<std::size_t>(end_ - begin_);
  std::memmove(buffer_.get(), begin_, unread);
  char* const added = buffer_.get() + unread;
  begin_ = buffer_.get();
  end_ = added;
  // If the read throws, the next line begins with the unread bytes again.
  marks_.Start(begin_, end_);
  const std::size_t size = source_.Read({added, BufferSize - unread});
  isExhausted_ = size == 0;
  end_ = added + size;
  marks_.Start(added, end_);
}

void LogLineReader::End() {
  isEnded_ = true;
  begin_ = end_;
  marks_.Start(end_, end_);
}
