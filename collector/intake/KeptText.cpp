#include "collector/intake/KeptText.h"

#include <tinyxml.h>

#include <algorithm>
#include <array>

#include "collector/intake/CaselessRemoval.h"
#include "collector/intake/HeaderValue.h"
#include "collector/report/Report.h"
#include "store/ReportElements.h"

namespace pelto::collector {

namespace {

constexpr std::string_view adapter_address_property = "macaddress";

bool identifies_somebody(std::string_view property) {
  const std::string name = to_small_letters(property);
  return name == to_small_letters(report::IdentifierProperty) ||
         name == to_small_letters(report::EmailProperty) || name == adapter_address_property;
}

/// Elements nest no deeper than the guard of the parser allows.
void take_out(TiXmlElement& element, const TextDecoder& decoder) {
  const std::string_view kind = element.Value();
  const char* const name = element.Attribute(report::NameAttribute);
  if (name != nullptr && kind == report::PropertyElement && identifies_somebody(name)) {
    element.Clear();
  }
  if (name != nullptr && kind == report::FileTypeElement &&
      !is_plain_extension(decoder.decode(name))) {
    element.SetAttribute(report::NameAttribute, other_file_type);
  }
  for (TiXmlElement* child = element.FirstChildElement(); child != nullptr;
       child = child->NextSiblingElement()) {
    take_out(*child, decoder);
  }
}

/// The words as the printed document has them: as they are in comments and the like, with
/// references everywhere else.
std::vector<std::string> words_of(const std::vector<std::string_view>& secrets,
                                  const TextDecoder& decoder) {
  std::vector<std::string> words;
  for (const std::string_view secret : secrets) {
    // What is longer than any name identifies nobody.
    if (secret.empty() || secret.size() > longest_name) continue;
    words.push_back(decoder.decode(secret, Lines::kept));
    TiXmlString encoded;
    TiXmlBase::EncodeString(TiXmlString(secret.data(), secret.size()), &encoded);
    if (std::string_view(encoded.data(), encoded.size()) != secret) {
      words.push_back(decoder.decode({encoded.data(), encoded.size()}, Lines::kept));
    }
  }
  return words;
}

}  // namespace

std::string text_to_keep(TiXmlDocument& document, const TextDecoder& decoder,
                         const std::vector<std::string_view>& secrets) {
  // The secrets may be texts of the document.
  const std::vector<std::string> words = words_of(secrets, decoder);
  for (TiXmlNode* node = document.FirstChild(); node != nullptr;) {
    TiXmlNode* const next = node->NextSibling();
    if (node->ToDeclaration() != nullptr) {
      document.RemoveChild(node);
    } else if (TiXmlElement* const element = node->ToElement()) {
      take_out(*element, decoder);
    }
    node = next;
  }
  TiXmlPrinter printer;
  document.Accept(&printer);
  return remove_words(decoder.decode({printer.CStr(), printer.Size()}, Lines::kept), words);
}

bool is_adapter_address(std::string_view name) {
  return to_small_letters(name) == adapter_address_property;
}

}  // namespace pelto::collector
