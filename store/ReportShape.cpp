#include "store/ReportShape.h"

#include <algorithm>
#include <optional>
#include <string>

namespace {

constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";

// The parser's own rules for characters. Case and letters are those of the C locale, and every byte
// from 0x7F on is a letter.

constexpr bool IsQuote(char c) {
  return c == '"' || c == '\'';
}

constexpr bool IsSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr char ToLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

constexpr bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

constexpr bool BeginsName(char c) {
  return (ToLower(c) >= 'a' && ToLower(c) <= 'z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x7F;
}

constexpr bool BelongsToName(char c) {
  return BeginsName(c) || IsDigit(c) || c == '-' || c == '.' || c == ':';
}

/// `start` is in small letters.
bool StartsWithIgnoringCase(std::string_view text, std::string_view start) {
  return text.size() >= start.size() && std::equal(start.begin(), start.end(), text.begin(),
                                                   [](char a, char b) { return a == ToLower(b); });
}

/// How many bytes the parser takes for a UTF-8 character that begins with `first`.
constexpr std::size_t GetUtf8Length(unsigned char first) {
  if (first < 0xC2 || first > 0xF4) return 1;
  return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

/// The text as the parser sees it: a NUL byte ends it, and each line ends with a line feed.
std::string NormalizeText(std::string_view report) {
  report = report.substr(0, report.find('\0'));
  std::string text;
  text.reserve(report.size());
  for (std::size_t i = 0; i < report.size(); ++i) {
    if (report[i] == '\n' && i > 0 && report[i - 1] == '\r') continue;
    text += report[i] == '\r' ? '\n' : report[i];
  }
  return text;
}

/// The parser's way through a text. Where the parser fails, it reads no further, so it does not
/// matter whether the walk ends there or goes on.
class CParserWalk {
 public:
  explicit CParserWalk(std::string_view text) : text_(text) {}

  /// Whether nothing was met that must be refused.
  bool Walk();

 private:
  bool IsAtEnd() const { return at_ == text_.size(); }
  std::string_view GetRest() const { return text_.substr(at_); }
  bool Take(std::string_view expected);
  void GiveUp() { at_ = text_.size(); }
  void Refuse();
  void SkipPast(std::string_view mark);
  template <typename Belongs>
  void SkipWhile(Belongs belongs);
  void SkipSpace();

  void ReadMarkup();
  void ReadDeclaration();
  void ReadStartTag();
  std::string ReadAttribute();
  std::string ReadText(char end);
  void ReadCharacter(std::string& value);
  void ReadReference(std::string& value);

  std::string_view text_;
  std::size_t at_ = 0;
  int depth_ = 0;
  /// None until the text has said whether it is UTF-8.
  std::optional<bool> isUtf8_;
  bool isRefused_ = false;
};

bool CParserWalk::Take(std::string_view expected) {
  if (!GetRest().starts_with(expected)) return false;
  at_ += expected.size();
  return true;
}

void CParserWalk::Refuse() {
  isRefused_ = true;
  GiveUp();
}

void CParserWalk::SkipPast(std::string_view mark) {
  const std::size_t found = text_.find(mark, at_);
  at_ = found == std::string_view::npos ? text_.size() : found + mark.size();
}

template <typename Belongs>
void CParserWalk::SkipWhile(Belongs belongs) {
  while (!IsAtEnd() && belongs(text_[at_])) ++at_;
}

/// In UTF-8, byte-order marks and the two characters U+FFFE and U+FFFF are whitespace too.
void CParserWalk::SkipSpace() {
  do {
    SkipWhile(IsSpace);
  } while (isUtf8_.value_or(false) &&
           (Take(ByteOrderMark) || Take("\xEF\xBF\xBE") || Take("\xEF\xBF\xBF")));
}

bool CParserWalk::Walk() {
  if (text_.starts_with(ByteOrderMark)) isUtf8_ = true;
  SkipSpace();
  while (!IsAtEnd()) {
    if (text_[at_] == '<') {
      ReadMarkup();
    } else if (depth_ > 0) {
      ReadText('<');
    } else {
      GiveUp();  // Outside of all elements, the parser stops at a text.
    }
    SkipSpace();
  }
  return !isRefused_;
}

void CParserWalk::ReadMarkup() {
  const std::string_view rest = GetRest();
  if (depth_ > 0 && rest.starts_with("</")) {
    --depth_;
    SkipPast(">");
  } else if (StartsWithIgnoringCase(rest, "<?xml")) {
    ReadDeclaration();
  } else if (Take("<!--")) {
    SkipPast("-->");
  } else if (Take("<![CDATA[")) {
    SkipPast("]]>");
  } else if (rest.size() > 1 && BeginsName(rest[1])) {
    ReadStartTag();
  } else {
    SkipPast(">");
  }
}

void CParserWalk::ReadDeclaration() {
  at_ += std::string_view("<?xml").size();
  std::string encoding;
  while (!IsAtEnd() && !Take(">")) {
    SkipSpace();
    if (StartsWithIgnoringCase(GetRest(), "version") ||
        StartsWithIgnoringCase(GetRest(), "standalone")) {
      ReadAttribute();
    } else if (StartsWithIgnoringCase(GetRest(), "encoding")) {
      encoding = ReadAttribute();
    } else {
      SkipWhile([](char c) { return c != '>' && !IsSpace(c); });
    }
  }
  // The parser takes the encoding from the first declaration outside of all elements.
  if (depth_ > 0 || isUtf8_.has_value()) return;
  const std::string_view name = encoding.c_str();  // as a C text, like the parser
  isUtf8_ =
      name.empty() || StartsWithIgnoringCase(name, "utf-8") || StartsWithIgnoringCase(name, "utf8");
}

void CParserWalk::ReadStartTag() {
  ++at_;
  SkipSpace();  // In UTF-8 the parser takes byte-order marks before the name for whitespace, too.
  if (IsAtEnd() || !BeginsName(text_[at_])) return GiveUp();
  SkipWhile(BelongsToName);
  int attributes = 0;
  for (SkipSpace(); !IsAtEnd(); SkipSpace()) {
    if (Take(">")) {
      if (++depth_ > DepthLimit) Refuse();
      return;
    }
    if (Take("/")) {
      if (!Take(">")) GiveUp();
      return;
    }
    if (++attributes > AttributeLimit) return Refuse();
    ReadAttribute();
  }
}

/// Returns the attribute's value.
std::string CParserWalk::ReadAttribute() {
  std::string value;
  if (!BeginsName(text_[at_])) {
    GiveUp();
    return value;
  }
  SkipWhile(BelongsToName);
  SkipSpace();
  if (!Take("=")) GiveUp();
  SkipSpace();
  if (IsAtEnd()) return value;
  if (IsQuote(text_[at_])) {
    const char quote = text_[at_++];
    value = ReadText(quote);
    if (!IsAtEnd()) ++at_;
  } else {
    const std::size_t start = at_;
    SkipWhile([](char c) { return !IsSpace(c) && !IsQuote(c) && c != '/' && c != '>'; });
    value = text_.substr(start, at_ - start);
    if (!IsAtEnd() && IsQuote(text_[at_])) GiveUp();
  }
  return value;
}

/// Reads up to `end` and returns the text with its character references replaced.
std::string CParserWalk::ReadText(char end) {
  std::string value;
  while (!IsAtEnd() && text_[at_] != end) ReadCharacter(value);
  return value;
}

void CParserWalk::ReadCharacter(std::string& value) {
  const std::size_t length =
      isUtf8_.value_or(false) ? GetUtf8Length(static_cast<unsigned char>(text_[at_])) : 1;
  if (length > text_.size() - at_) return Refuse();
  if (text_[at_] == '&') return ReadReference(value);
  value.append(text_, at_, length);
  at_ += length;
}

/// A numeric reference ends with the next semicolon, wherever that is, and its digits are those
/// between the last "x" (or "#") before it and the semicolon. Any other ampersand is left out; the
/// name after it makes no difference to a walk.
void CParserWalk::ReadReference(std::string& value) {
  const std::string_view rest = GetRest();
  if (!rest.starts_with("&#") || rest.size() == 2) {
    ++at_;
    return;
  }
  const bool isHexadecimal = rest[2] == 'x';
  const std::size_t end = rest.find(';', isHexadecimal ? 3 : 2);
  if (end == std::string_view::npos) return GiveUp();
  const std::size_t start = rest.rfind(isHexadecimal ? 'x' : '#', end) + 1;
  unsigned character = 0;
  for (const char c : rest.substr(start, end - start)) {
    const int digit = IsDigit(c) ? c - '0' : ToLower(c) - 'a' + 10;
    character = character * (isHexadecimal ? 16 : 10) + static_cast<unsigned>(digit);
  }
  value += static_cast<char>(character & 0xFF);
  at_ += end + 1;
}

}  // namespace

bool IsSafeToParse(std::string_view report) {
  const std::string text = NormalizeText(report);
  return CParserWalk(text).Walk();
}
