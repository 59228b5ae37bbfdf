#include "collector/intake/KeptText.h"

#include <tinyxml.h>

#include <cstddef>

#include "collector/intake/CaselessRemoval.h"
#include "collector/intake/HeaderValue.h"
#include "collector/report/Report.h"
#include "store/ReportElements.h"

namespace pelto::collector {

namespace {

constexpr std::string_view adapter_address_property = "macaddress";
/// Spaces for each level of the text.
constexpr std::size_t indent = 4;

/// Whether the element is a property whose value identifies somebody.
bool is_taken_out(const TiXmlElement& element) {
  if (std::string_view(element.Value()) != report::PropertyElement) return false;
  const char* const property = element.Attribute(report::NameAttribute);
  if (property == nullptr) return false;
  const std::string name = to_small_letters(property);
  return name == to_small_letters(report::IdentifierProperty) ||
         name == to_small_letters(report::EmailProperty) || name == adapter_address_property;
}

/// Appends `text` with references in place of markup and control characters, as the parser's own
/// printer does it.
void append_encoded(std::string& out, std::string_view text) {
  constexpr std::string_view hexadecimal = "0123456789ABCDEF";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '&') {
      out += "&amp;";
    } else if (c == '<') {
      out += "&lt;";
    } else if (c == '>') {
      out += "&gt;";
    } else if (c == '"') {
      out += "&quot;";
    } else if (c == '\'') {
      out += "&apos;";
    } else if (byte < 0x20) {
      out += "&#x";
      out += hexadecimal[byte >> 4U];
      out += hexadecimal[byte & 0x0FU];
      out += ';';
    } else {
      out += c;
    }
  }
}

std::string_view view(const TIXML_STRING& text) {
  return {text.data(), text.size()};
}

/// Writes the nodes of a document in its code page, laid out as the sender does it. The parser's
/// own printer takes several times as long.
class Writer {
 public:
  explicit Writer(const TextDecoder& decoder) : decoder_(decoder) {}

  /// Writes the children of `parent`. Elements nest no deeper than the parser's guard allows.
  void write_children(const TiXmlNode& parent, std::size_t depth) {
    for (const TiXmlNode* node = parent.FirstChild(); node != nullptr; node = node->NextSibling()) {
      write(*node, depth);
    }
  }

  const std::string& bytes() const { return bytes_; }

 private:
  void write(const TiXmlNode& node, std::size_t depth) {
    // A declaration would name another encoding.
    if (node.ToDeclaration() != nullptr) return;
    bytes_.append(depth * indent, ' ');
    if (const TiXmlElement* const element = node.ToElement()) {
      write_element(*element, depth);
    } else if (const TiXmlText* const text = node.ToText()) {
      write_text(*text);
    } else if (node.ToComment() != nullptr) {
      write_marked("<!--", node, "-->");
    } else {
      write_marked("<", node, ">");
    }
    bytes_ += '\n';
  }

  void write_element(const TiXmlElement& element, std::size_t depth) {
    bytes_ += '<';
    bytes_ += view(element.ValueTStr());
    write_attributes(element);
    const TiXmlNode* const child = is_taken_out(element) ? nullptr : element.FirstChild();
    if (child == nullptr) {
      bytes_ += " />";
      return;
    }
    bytes_ += '>';
    const TiXmlText* const text = child->ToText();
    if (text != nullptr && !text->CDATA() && child->NextSibling() == nullptr) {
      write_text(*text);
    } else {
      bytes_ += '\n';
      write_children(element, depth + 1);
      bytes_.append(depth * indent, ' ');
    }
    bytes_ += "</";
    bytes_ += view(element.ValueTStr());
    bytes_ += '>';
  }

  void write_attributes(const TiXmlElement& element) {
    const bool is_file_type = std::string_view(element.Value()) == report::FileTypeElement;
    for (const TiXmlAttribute* attribute = element.FirstAttribute(); attribute != nullptr;
         attribute = attribute->Next()) {
      const bool is_other = is_file_type &&
                            std::string_view(attribute->Name()) == report::NameAttribute &&
                            !is_plain_extension(decoder_.decode(attribute->Value()));
      bytes_ += ' ';
      append_encoded(bytes_, view(attribute->NameTStr()));
      bytes_ += "=\"";
      append_encoded(bytes_, is_other ? other_file_type : attribute->Value());
      bytes_ += '"';
    }
  }

  void write_text(const TiXmlText& text) {
    if (text.CDATA()) {
      write_marked("<![CDATA[", text, "]]>");
    } else {
      append_encoded(bytes_, view(text.ValueTStr()));
    }
  }

  void write_marked(std::string_view start, const TiXmlNode& node, std::string_view end) {
    bytes_ += start;
    bytes_ += view(node.ValueTStr());
    bytes_ += end;
  }

  const TextDecoder& decoder_;
  std::string bytes_;
};

/// The words as the text has them: as they are in comments and the like, with references everywhere
/// else.
std::vector<std::string> words_of(const std::vector<std::string_view>& secrets,
                                  const TextDecoder& decoder) {
  std::vector<std::string> words;
  for (const std::string_view secret : secrets) {
    // What is longer than any name identifies nobody.
    if (secret.empty() || secret.size() > longest_name) continue;
    words.push_back(decoder.decode(secret, Lines::kept));
    std::string encoded;
    append_encoded(encoded, secret);
    if (encoded != secret) words.push_back(decoder.decode(encoded, Lines::kept));
  }
  return words;
}

}  // namespace

std::string text_to_keep(const TiXmlDocument& document, const TextDecoder& decoder,
                         const std::vector<std::string_view>& secrets) {
  Writer writer(decoder);
  writer.write_children(document, 0);
  return remove_words(decoder.decode(writer.bytes(), Lines::kept), words_of(secrets, decoder));
}

bool is_adapter_address(std::string_view name) {
  return to_small_letters(name) == adapter_address_property;
}

}  // namespace pelto::collector
