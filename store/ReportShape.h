#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Tells whether a report file can be given to the XML parser.
///
/// The parser goes down into nested elements by recursion, compares each attribute of an element
/// with all before it, and steps over a broken UTF-8 character without looking where its text
/// ends. A file made or damaged in that way would exhaust the stack, hold the run for hours or be
/// read beyond its end. So the file's text is looked through first, in one pass and in pieces, and
/// is refused, which is a failed load as any malformed file's, when it
/// - nests elements deeper than `DepthLimit` (a report nests four),
/// - gives an element more than `AttributeLimit` attributes (a report gives three),
/// - is taken for UTF-8, by its byte-order mark or by an XML declaration that names UTF-8 or no
///   encoding, and is not UTF-8 (RFC 3629),
/// - has an XML declaration in other than the plain form, in which the parser could find another
///   end or encoding,
/// - has a numeric character reference with something else than digits in it ("&#x4g;"): the parser
///   looks for its semicolon beyond any markup, so that it is not plain what nests what.
/// Whether the text is XML at all is the parser's to say.
class CReportShape {
 public:
  static constexpr int DepthLimit = 64;
  static constexpr int AttributeLimit = 256;

  /// Looks at the next piece of the text.
  void Feed(std::string_view text) {
    for (const char c : text) Feed(c);
  }

  /// Whether the text, if it ends here, can be parsed.
  bool IsSound() const { return isSound_ && (!mayBeUtf8_ || (isUtf8_ && trailBytes_ == 0)); }

 private:
  enum class State {
    Text,
    MarkupStart,    // behind "<"
    Exclamation,    // behind "<!"
    Question,       // behind "<?"
    Comment,        // behind "<!--"
    CharacterData,  // behind "<![CDATA["
    Declaration,    // behind "<?xml"
    EndTag,         // behind "</"
    Unknown,        // in other markup
    Tag,            // in an element's start tag
    TagValue,       // in a quoted value of it
    Ended,          // behind a NUL byte, where the parser stops
  };

  /// How far a character reference has been met.
  enum class Reference {
    None,
    Ampersand,      // "&"
    Number,         // "&#"
    Hexadecimal,    // "&#x"
    DecimalDigits,  // "&#6"
    HexadecimalDigits,
  };

  void Feed(char c);
  void FeedUtf8(unsigned char c);
  std::optional<Reference> AdvanceReference(char c) const;
  void FeedMarkupStart(char c);
  void FeedOpening(std::string_view opening, State opened, char c);
  void FeedClosing(char repeated, char c);
  void FeedDeclaration(char c);
  void FeedTag(char c);

  State state_ = State::Text;
  /// Which of the two known openings began behind "<!".
  bool isCharacterData_ = false;
  bool isSound_ = true;
  int depth_ = 0;
  int attributes_ = 0;
  char quote_ = 0;
  char previous_ = 0;
  /// How many characters of a markup's opening, or of its closing, stand directly before.
  std::size_t matched_ = 0;

  Reference reference_ = Reference::None;
  /// The text of the declaration so far, behind "<?xml".
  std::string declaration_;

  bool isAtStart_ = true;
  bool mayBeUtf8_ = false;
  bool isUtf8_ = true;
  int trailBytes_ = 0;
  unsigned char lowestTrail_ = 0x80;
  unsigned char highestTrail_ = 0xBF;
};
