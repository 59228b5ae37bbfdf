#pragma once

#include <string_view>

/// How deep elements may be nested; a report nests four.
inline constexpr int DepthLimit = 64;
/// How many attributes an element may have; a report's elements have three.
inline constexpr int AttributeLimit = 256;

/// Whether `report`, the bytes of a report file, can be given to the XML parser. Follows the
/// parser's way through them in one pass, without recursion.
///
/// Refused                             | because the parser
/// ------------------------------------|-----------------------------------------------------------
/// elements nested deeper than         | calls itself for each level and would exhaust the stack
/// `DepthLimit`                        |
/// an element of more than             | compares each attribute with all before it and would run
/// `AttributeLimit` attributes         | for hours on a large file
/// a UTF-8 character that the text's   | steps over the whole character and would read beyond the
/// end cuts, if the text is UTF-8      | text
///
/// The text is UTF-8 for the parser when it begins with a byte-order mark, or when its first XML
/// declaration outside of all elements names UTF-8 or no encoding. Everything else is left to the
/// parser, which takes it or fails: malformed XML, broken character references, and broken UTF-8
/// before the end, too.
bool IsSafeToParse(std::string_view report);
