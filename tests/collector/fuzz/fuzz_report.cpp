// A report of any bytes, the first of which chooses the code page: it is one when the sender loads
// it, has the same commands, and nothing of what was read or kept is more than it may be.
#include <tinyxml.h>
#include <unicode/unistr.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <variant>

#include "collector/intake/CodePage.h"
#include "collector/intake/Intake.h"
#include "collector/intake/ReportReader.h"
#include "store/ReportDocument.h"
#include "store/ReportShape.h"

namespace {

using pelto::collector::Refusal;
using pelto::collector::Report;

/// What the sender loads.
struct Loaded {
  bool is_report = false;
  CommandStats commands;
  FileTypeStats file_types;
  SystemProperties properties;
};

Loaded load(std::string bytes) {
  Loaded loaded;
  if (bytes.empty() || !IsSafeToParse(bytes)) return loaded;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
      fmemopen(bytes.data(), bytes.size(), "r"), std::fclose);
  TiXmlDocument document;
  std::wstring chain;
  loaded.is_report =
      document.LoadFile(stream.get()) &&
      MergeReport(document, loaded.commands, loaded.file_types, loaded.properties, chain);
  return loaded;
}

bool is_utf8(const std::string& text) {
  std::string again;
  icu::UnicodeString::fromUTF8(text).toUTF8String(again);
  return again == text;
}

void check_name(const std::string& name) {
  if (!is_utf8(name)) std::abort();
  for (const char c : name) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) std::abort();
  }
}

icu::UnicodeString fold(const std::string& text) {
  return icu::UnicodeString::fromUTF8(text).foldCase();
}

void check(const Report& report) {
  if (report.installation.empty() || report.installation.size() > 128) std::abort();
  if (report.email.size() > 320 || !report.adapter_hash.empty()) std::abort();
  for (const std::string* text :
       {&report.installation, &report.application, &report.version, &report.email}) {
    check_name(*text);
  }
  for (const auto& command : report.commands) check_name(command.name);
  for (const auto& type : report.file_types) check_name(type.name);
  for (const auto& property : report.machine) {
    check_name(property.category);
    check_name(property.name);
    check_name(property.value);
    if (property.category == "Adapter" && property.name == "MACAddress") std::abort();
  }
  if (!is_utf8(report.text) || report.text.find('\0') != std::string::npos) std::abort();
  Report again = report;
  pelto::collector::normalize(again);
  if (again != report) std::abort();

  // A name with a replacement character may be written otherwise in the text.
  const icu::UnicodeString kept = fold(report.text);
  for (const std::string* secret : {&report.installation, &report.email}) {
    if (!secret->empty() && secret->find("\xEF\xBF\xBD") == std::string::npos &&
        kept.indexOf(fold(*secret)) >= 0) {
      std::abort();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::array code_pages{
      1252, 932, 936, 949, 950, 874, 1251, 1258, pelto::collector::utf8_code_page};
  if (size == 0) return 0;
  pelto::collector::IntakeOptions options;
  options.code_page = code_pages.at(data[0] % code_pages.size());
  const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);

  const auto result = pelto::collector::read_report(bytes, options);
  const Loaded loaded = load(bytes);
  const Refusal* const refusal = std::get_if<Refusal>(&result);
  const bool is_report = refusal == nullptr || *refusal == Refusal::no_installation;
  if (is_report != loaded.is_report) std::abort();
  if (refusal != nullptr) return 0;
  const Report& report = std::get<Report>(result);
  check(report);
  // Names that are no text can become the same one.
  if (report.commands.size() > loaded.commands.GetEntries().size()) std::abort();

  const auto kept = pelto::collector::read_report_text(report.text, options);
  if (std::holds_alternative<Report>(kept)) std::abort();
  const auto imported = pelto::collector::read_report_text(bytes, options);
  if (std::holds_alternative<Report>(imported)) check(std::get<Report>(imported));
  return 0;
}
