#include "store/ReportShape.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr bool IsQuote(char c) {
  return c == '"' || c == '\'';
}

constexpr bool IsSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr char ToLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

constexpr bool IsLetter(char c) {
  return ToLower(c) >= 'a' && ToLower(c) <= 'z';
}

constexpr bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

constexpr bool IsHexadecimalDigit(char c) {
  return IsDigit(c) || (ToLower(c) >= 'a' && ToLower(c) <= 'f');
}

/// What the parser takes for the first character of an element's name.
constexpr bool BeginsName(char c) {
  return IsLetter(c) || c == '_' || static_cast<unsigned char>(c) >= 0x7F;
}

/// A declaration is far shorter.
constexpr std::size_t DeclarationLimit = 256;

/// The encoding, in small letters, that a declaration names ("" when it names none); none when the
/// declaration is not of the plain form: attributes of letters, each behind a blank, with a quoted
/// value right behind its "=" that holds no blank, quote or reference; and a "?" at the end.
std::optional<std::string> ReadDeclaredEncoding(std::string_view declaration) {
  std::string encoding;
  if (declaration.size() >= DeclarationLimit) return {};
  if (declaration.ends_with('?')) declaration.remove_suffix(1);
  std::size_t at = 0;
  const auto count = [&](auto belongs) {
    const std::size_t start = at;
    while (at < declaration.size() && belongs(declaration[at])) ++at;
    return declaration.substr(start, at - start);
  };
  for (;;) {
    const bool isSeparated = !count(IsSpace).empty();
    if (at == declaration.size()) return encoding;
    const std::string_view name = count(IsLetter);
    if (!isSeparated || name.empty() || count([](char c) { return c == '='; }) != "=") return {};
    if (at == declaration.size() || !IsQuote(declaration[at])) return {};
    const char quote = declaration[at++];
    const std::string_view value =
        count([](char c) { return !IsQuote(c) && !IsSpace(c) && c != '&' && c != '<'; });
    if (at == declaration.size() || declaration[at++] != quote) return {};
    const auto isSame = [](char a, char b) { return ToLower(a) == b; };
    if (std::ranges::equal(name.substr(0, 8), std::string_view("encoding"), isSame)) {
      encoding.clear();
      std::ranges::transform(value, std::back_inserter(encoding), ToLower);
    }
  }
}

}  // namespace

void CReportShape::Feed(char c) {
  if (state_ == State::Ended) return;
  FeedUtf8(static_cast<unsigned char>(c));
  if (c == '\0') {
    state_ = State::Ended;
    return;
  }
  if (state_ == State::Text || state_ == State::TagValue) {
    const std::optional<Reference> next = AdvanceReference(c);
    if (!next) isSound_ = false;
    reference_ = next.value_or(Reference::None);
  }
  switch (state_) {
    case State::Text:
      if (c == '<') state_ = State::MarkupStart;
      break;
    case State::MarkupStart:
      FeedMarkupStart(c);
      break;
    case State::Exclamation:
      if (matched_ == 0) isCharacterData_ = c == '[';
      if (isCharacterData_) {
        FeedOpening("[CDATA[", State::CharacterData, c);
      } else {
        FeedOpening("--", State::Comment, c);
      }
      break;
    case State::Question:
      FeedOpening("xml", State::Declaration, ToLower(c));
      break;
    case State::Comment:
      FeedClosing('-', c);
      break;
    case State::CharacterData:
      FeedClosing(']', c);
      break;
    case State::Declaration:
      FeedDeclaration(c);
      break;
    case State::EndTag:
      if (c == '>') {
        if (depth_ > 0) --depth_;
        state_ = State::Text;
      }
      break;
    case State::Unknown:
      if (c == '>') state_ = State::Text;
      break;
    case State::Tag:
      FeedTag(c);
      break;
    case State::TagValue:
      if (c == quote_) state_ = State::Tag;
      break;
    case State::Ended:
      break;
  }
  previous_ = c;
}

/// Keeps track of whether the bytes so far are UTF-8 (RFC 3629, section 4).
void CReportShape::FeedUtf8(unsigned char c) {
  // A byte-order mark counts at the very start only; nothing else begins with its first byte.
  if (isAtStart_ && c == 0xEF) mayBeUtf8_ = true;
  isAtStart_ = false;
  if (trailBytes_ > 0) {
    if (c < lowestTrail_ || c > highestTrail_) isUtf8_ = false;
    --trailBytes_;
    lowestTrail_ = 0x80;
    highestTrail_ = 0xBF;
  } else if (c >= 0x80) {
    if (c < 0xC2 || c > 0xF4) isUtf8_ = false;
    trailBytes_ = c < 0xE0 ? 1 : c < 0xF0 ? 2 : 3;
    if (c == 0xE0) lowestTrail_ = 0xA0;
    if (c == 0xED) highestTrail_ = 0x9F;
    if (c == 0xF0) lowestTrail_ = 0x90;
    if (c == 0xF4) highestTrail_ = 0x8F;
  }
}

/// How far a character reference has been met with `c` behind it; none when it is broken.
std::optional<CReportShape::Reference> CReportShape::AdvanceReference(char c) const {
  switch (reference_) {
    case Reference::None:
      return c == '&' ? Reference::Ampersand : Reference::None;
    case Reference::Ampersand:
      if (c == '#') return Reference::Number;
      return c == '&' ? Reference::Ampersand : Reference::None;
    case Reference::Number:
      if (c == 'x') return Reference::Hexadecimal;
      if (c == ';') return Reference::None;
      if (IsDigit(c)) return Reference::DecimalDigits;
      return {};
    case Reference::Hexadecimal:
      if (c == ';') return Reference::None;
      if (IsHexadecimalDigit(c)) return Reference::HexadecimalDigits;
      return {};
    case Reference::DecimalDigits:
      if (c == ';') return Reference::None;
      if (IsDigit(c)) return Reference::DecimalDigits;
      return {};
    case Reference::HexadecimalDigits:
      if (c == ';') return Reference::None;
      if (IsHexadecimalDigit(c)) return Reference::HexadecimalDigits;
      return {};
  }
  return {};
}

void CReportShape::FeedMarkupStart(char c) {
  matched_ = 0;
  attributes_ = 0;
  if (c == '!') {
    state_ = State::Exclamation;
  } else if (c == '?') {
    state_ = State::Question;
  } else if (c == '/') {
    state_ = State::EndTag;
  } else if (BeginsName(c)) {
    state_ = State::Tag;
  } else {
    state_ = c == '>' ? State::Text : State::Unknown;
  }
}

void CReportShape::FeedOpening(std::string_view opening, State opened, char c) {
  if (c != opening[matched_]) {
    state_ = c == '>' ? State::Text : State::Unknown;
  } else if (++matched_ == opening.size()) {
    matched_ = 0;
    state_ = opened;
    declaration_.clear();
  }
}

/// Waits for "-->" or "]]>".
void CReportShape::FeedClosing(char repeated, char c) {
  if (c == '>' && matched_ >= 2) {
    state_ = State::Text;
  } else {
    matched_ = c == repeated ? matched_ + 1 : 0;
  }
}

/// The parser has rules of its own for what a declaration holds. They are those of everybody while
/// it is of the plain form; any other is refused.
void CReportShape::FeedDeclaration(char c) {
  if (c != '>') {
    // Without a limit a file of one declaration would be read into memory twice.
    if (declaration_.size() < DeclarationLimit) declaration_ += c;
    return;
  }
  state_ = State::Text;
  const std::optional<std::string> encoding = ReadDeclaredEncoding(declaration_);
  if (!encoding) {
    isSound_ = false;
  } else if (encoding->empty() || encoding->starts_with("utf-8") || encoding->starts_with("utf8")) {
    mayBeUtf8_ = true;
  }
}

void CReportShape::FeedTag(char c) {
  if (IsQuote(c)) {
    quote_ = c;
    state_ = State::TagValue;
  } else if (c == '=') {
    if (++attributes_ > AttributeLimit) isSound_ = false;
  } else if (c == '>') {
    if (previous_ != '/' && ++depth_ > DepthLimit) isSound_ = false;
    state_ = State::Text;
  }
}
