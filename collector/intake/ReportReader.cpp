#include "collector/intake/ReportReader.h"

#include <sodium.h>
#include <tinyxml.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "collector/intake/CodePage.h"
#include "collector/intake/HeaderValue.h"
#include "collector/intake/KeptText.h"
#include "collector/intake/TextDecoder.h"
#include "platform/DecimalText.h"
#include "store/ReportElements.h"
#include "store/ReportShape.h"

namespace pelto::collector {

namespace {

constexpr std::string_view locale_category = "OS";
constexpr std::string_view locale_property = "Locale";
constexpr std::string_view adapter_category = "Adapter";

constexpr std::size_t longest_address = 320;
constexpr std::string_view no_text = "\xEF\xBF\xBD";

/// Parses as the sender's load does: line ends become line feeds, and a NUL byte ends the text.
bool parse(TiXmlDocument& document, std::string& bytes) {
  if (bytes.empty() || !IsSafeToParse(bytes)) return false;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
      fmemopen(bytes.data(), bytes.size(), "r"), std::fclose);
  // Nobody asks for the position of a fault.
  document.SetTabSize(0);
  return stream && document.LoadFile(stream.get());
}

/// Whether the parser took the text for UTF-8.
bool is_utf8(const TiXmlDocument& document, std::string_view bytes) {
  if (bytes.starts_with(byte_order_mark)) return true;
  for (const TiXmlNode* node = document.FirstChild(); node != nullptr; node = node->NextSibling()) {
    const TiXmlDeclaration* const declaration = node->ToDeclaration();
    if (declaration == nullptr) continue;
    const std::string encoding = to_small_letters(declaration->Encoding());
    return encoding.empty() || encoding.starts_with("utf-8") || encoding.starts_with("utf8");
  }
  return false;
}

/// A text of the document, in its code page; empty for none.
std::string_view view(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

/// Calls `take` for each child of `list` called `name`; a null list has none.
template <typename Take>
void for_each(const TiXmlElement* list, const char* name, Take take) {
  if (list == nullptr) return;
  for (const TiXmlElement* element = list->FirstChildElement(name); element != nullptr;
       element = element->NextSiblingElement(name)) {
    take(*element);
  }
}

/// The text of the first property of this name in a section of the root that has a text and no
/// category; empty without one.
std::string_view find_property(const TiXmlElement& root, const char* section, const char* name) {
  std::string_view found;
  for_each(root.FirstChildElement(section), report::PropertyElement,
           [&](const TiXmlElement& property) {
             if (found.empty() && view(property.Attribute(report::NameAttribute)) == name &&
                 property.Attribute(report::CategoryAttribute) == nullptr) {
               found = view(property.GetText());
             }
           });
  return found;
}

/// A property of the machine, in the document's code page.
struct Property {
  std::string_view category;
  std::string_view name;
  std::string_view value;

  bool is_adapter_address() const {
    return category == adapter_category && collector::is_adapter_address(name);
  }
};

/// Those that have name, category and text. Of several of one name and category the last counts.
std::vector<Property> find_properties(const TiXmlElement& root) {
  std::vector<Property> properties;
  std::map<std::pair<std::string_view, std::string_view>, std::size_t> places;
  for_each(root.FirstChildElement(report::SystemSection), report::PropertyElement,
           [&](const TiXmlElement& element) {
             const char* const name = element.Attribute(report::NameAttribute);
             const char* const category = element.Attribute(report::CategoryAttribute);
             const char* const value = element.GetText();
             if (name == nullptr || category == nullptr || value == nullptr) return;
             const auto [place, is_new] = places.try_emplace({category, name}, properties.size());
             if (is_new) {
               properties.push_back({category, name, value});
             } else {
               properties[place->second].value = value;
             }
           });
  return properties;
}

int find_code_page(const std::vector<Property>& machine, int otherwise) {
  for (const Property& property : machine) {
    if (property.category == locale_category && property.name == locale_property) {
      return code_page_of_locale(property.value).value_or(otherwise);
    }
  }
  return otherwise;
}

/// Adds a command unless an attribute is missing.
void take_command(Report& result, const TextDecoder& decoder, const char* name, const char* order,
                  const char* count) {
  if (name == nullptr || order == nullptr || count == nullptr) return;
  result.commands.push_back({decoder.decode(name), ParseInt64(count), ParseInt32(order)});
}

void read_commands(Report& result, const TextDecoder& decoder, const TiXmlElement& root) {
  const auto find_list = [&root](const char* section, const char* list) {
    const TiXmlElement* const holder = root.FirstChildElement(section);
    return holder == nullptr ? nullptr : holder->FirstChildElement(list);
  };
  for_each(find_list(report::CommandSection, report::CommandList), report::CommandElement,
           [&](const TiXmlElement& command) {
             take_command(result, decoder, command.Attribute(report::NameAttribute),
                          command.Attribute(report::OrderAttribute),
                          command.Attribute(report::CountAttribute));
           });
  // A run tool is a command without a place in the order of first use.
  for_each(find_list(report::CounterSection, report::RunToolList), report::RunToolElement,
           [&](const TiXmlElement& run_tool) {
             take_command(result, decoder, run_tool.Attribute(report::NameAttribute), "0",
                          run_tool.Attribute(report::CountAttribute));
           });
}

/// Equal file types are added up, as the sender's load does it.
void read_file_types(Report& result, const TextDecoder& decoder, const TiXmlElement& root) {
  // One more than is counted, so that too large a number shows. No overflow: the entries are fewer
  // than 2^32.
  const auto read_count = [](const char* text) {
    return std::clamp<std::int64_t>(ParseInt64(view(text)), 0, largest_count + 1);
  };
  std::unordered_map<std::string, std::size_t> places;
  const TiXmlElement* const section = root.FirstChildElement(report::FileTypeSection);
  if (section == nullptr) return;
  for_each(section->FirstChildElement(report::FileTypeList), report::FileTypeElement,
           [&](const TiXmlElement& element) {
             const char* const bytes = element.Attribute(report::NameAttribute);
             if (bytes == nullptr) return;
             std::string name = decoder.decode(bytes);
             const auto [place, is_new] = places.try_emplace(name, result.file_types.size());
             if (is_new) result.file_types.push_back({std::move(name)});
             FileTypeCount& count = result.file_types[place->second];
             count.opened += read_count(element.Attribute(report::OpenedAttribute));
             count.saved += read_count(element.Attribute(report::SavedAttribute));
           });
}

/// Also returns the adapter's address, which is no part of the machine's description.
std::string_view read_machine(Report& result, const TextDecoder& decoder,
                              const std::vector<Property>& machine) {
  std::string_view adapter_address;
  for (const Property& property : machine) {
    if (property.is_adapter_address()) {
      adapter_address = property.value;
      continue;
    }
    result.machine.push_back({decoder.decode(property.category), decoder.decode(property.name),
                              decoder.decode(property.value)});
  }
  return adapter_address;
}

/// A name that is too long for a report is left out.
std::string read_name(Report& result, const TextDecoder& decoder, std::string_view bytes) {
  std::string name = decoder.decode(bytes);
  if (name.size() <= longest_name) return name;
  result.is_capped = true;
  return {};
}

std::string read_address(const TextDecoder& decoder, std::string_view bytes) {
  std::string address = decoder.decode(bytes);
  const bool is_usable =
      address.size() <= longest_address && address.find(no_text) == std::string::npos;
  return is_usable ? address : std::string();
}

/// The keyed hash of an adapter's address, in hexadecimal digits; empty if it is not to be kept.
std::string hash_address(std::string_view address, const std::string& key) {
  if (address.empty() || key.empty()) return {};
  const auto bytes = [](std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
  };
  std::array<unsigned char, crypto_generichash_BYTES> hash{};
  if (crypto_generichash(hash.data(), hash.size(), bytes(address), address.size(), bytes(key),
                         key.size()) != 0) {
    return {};
  }
  std::array<char, 2 * crypto_generichash_BYTES + 1> digits{};
  return sodium_bin2hex(digits.data(), digits.size(), hash.data(), hash.size());
}

}  // namespace

std::variant<Report, Refusal> read_report(std::string bytes, const IntakeOptions& options) {
  TiXmlDocument document;
  if (!parse(document, bytes)) return Refusal::not_a_report;
  const TiXmlElement* const root = document.FirstChildElement(report::RootElement);
  if (root == nullptr) return Refusal::not_a_report;

  const std::vector<Property> machine = find_properties(*root);
  const TextDecoder decoder(is_utf8(document, bytes) ? utf8_code_page
                                                     : find_code_page(machine, options.code_page));
  const std::string_view identifier =
      find_property(*root, report::SystemSection, report::IdentifierProperty);
  Report result;
  result.installation = decoder.decode(identifier);
  if (result.installation.empty() || result.installation.size() > longest_installation) {
    return Refusal::no_installation;
  }
  result.application =
      read_name(result, decoder,
                find_property(*root, report::ApplicationSection, report::ApplicationNameProperty));
  result.version = read_name(
      result, decoder,
      find_property(*root, report::ApplicationSection, report::ApplicationVersionProperty));
  read_commands(result, decoder, *root);
  read_file_types(result, decoder, *root);
  const std::string_view adapter_address = read_machine(result, decoder, machine);
  result.adapter_hash = hash_address(adapter_address, options.adapter_key);
  const std::string_view address =
      find_property(*root, report::CustomerSection, report::EmailProperty);
  result.email = read_address(decoder, address);

  result.text = text_to_keep(document, decoder, {identifier, address, adapter_address});
  normalize(result);
  return result;
}

}  // namespace pelto::collector
