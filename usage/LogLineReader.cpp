#include "usage/LogLineReader.h"

// Visual C++ has SSE2 on every 64-bit target and does not define the other name.
#if defined(__SSE2__) || defined(_M_X64)
#define PELTO_HAS_SSE2
#include <emmintrin.h>
#endif

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/FileExtension.h"
#include "usage/LogLine.h"

namespace {

constexpr char Nul = '\0';
constexpr char LineFeed = '\n';
constexpr char CarriageReturn = '\r';
/// Ends a file that is read as text.
constexpr char Substitute = '\x1A';

constexpr bool IsMark(char c) {
  return c == LineFeed || c == Nul || c == Substitute;
}

/// The first byte in [from, to) that ends a line or a text, or `to`.
const char* FindMark(const char* from, const char* to) {
#ifdef PELTO_HAS_SSE2
  // Nearly all of the harvest's time is spent here, and the C run-time's search is a loop over
  // bytes.
  const __m128i lineFeed = _mm_set1_epi8(LineFeed);
  const __m128i nul = _mm_setzero_si128();
  const __m128i substitute = _mm_set1_epi8(Substitute);
  for (; to - from >= 16; from += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i marks =
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, lineFeed), _mm_cmpeq_epi8(bytes, nul)),
                     _mm_cmpeq_epi8(bytes, substitute));
    const auto mask = static_cast<unsigned>(_mm_movemask_epi8(marks));
    if (mask != 0) return from + std::countr_zero(mask);
  }
#endif
  while (from != to && !IsMark(*from)) ++from;
  return from;
}

}  // namespace

std::optional<LogEvent> LogLineReader::ReadNext() {
  for (;;) {
    const std::string_view line = ReadLine();
    // An empty line is the log's end mark: what follows it must not be counted
    // (docs/compatibility.md, 19).
    if (line.empty()) {
      isEnded_ = true;
      return {};
    }
    const std::optional<UsageEventKind> kind = ClassifyLine(line);
    if (!kind) continue;
    const std::string_view text = line.substr(LogPrefixLength);
    if (*kind == UsageEventKind::Command) {
      return LogEvent{*kind, text.substr(CommandKeyword.size()), {}};
    }
    // The document's path is on the next line, which is consumed whatever it holds: an event line
    // is not counted there, and an empty line does not end the log (docs/compatibility.md, 20).
    documentLine_ = text;
    const std::string_view pathLine = ReadLine();
    if (pathLine.size() < LogPrefixLength) continue;
    return LogEvent{*kind, documentLine_, FindExtension(pathLine.substr(LogPrefixLength))};
  }
}

/// The next line without its end, up to a NUL byte. Empty also when there is none.
std::string_view LogLineReader::ReadLine() {
  if (isEnded_) return {};
  std::size_t at = begin_;
  std::size_t textEnd = std::string_view::npos;
  for (;;) {
    at = static_cast<std::size_t>(FindMark(buffer_.get() + at, buffer_.get() + end_) -
                                  buffer_.get());
    if (at == end_) {
      // A longer line than this, with its carriage return and line feed, is cut anyway.
      if (isExhausted_ || end_ - begin_ > LineLimit + 1) break;
      const std::size_t scanned = at - begin_;
      if (textEnd != std::string_view::npos) textEnd -= begin_;
      Refill();
      at = scanned;
    } else if (buffer_[at] == LineFeed) {
      break;
    } else if (buffer_[at] == Substitute) {
      end_ = at;
      isExhausted_ = true;
    } else {
      textEnd = std::min(textEnd, at);
      ++at;
    }
  }

  std::string_view line(buffer_.get() + begin_, at - begin_);
  textEnd = textEnd == std::string_view::npos ? line.size() : textEnd - begin_;
  const bool hasLineFeed = at != end_;
  begin_ = at + (hasLineFeed ? 1 : 0);
  if (hasLineFeed && line.ends_with(CarriageReturn)) line.remove_suffix(1);
  if (line.size() > LineLimit) {
    line = line.substr(0, LineLimit);
    isEnded_ = true;
  }
  return line.substr(0, textEnd);
}

/// Moves the unread bytes to the buffer's start and reads more after them.
void LogLineReader::Refill() {
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(BufferSize);
  std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  const std::size_t added = source_.Read({buffer_.get() + end_, BufferSize - end_});
  end_ += added;
  isExhausted_ = added == 0;
}
