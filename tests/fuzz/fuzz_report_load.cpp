// The report load on any bytes: a text that is safe to parse stays within the limits in the parser,
// a text that is refused does not, and what was loaded is saved and loaded again with the same
// counts.
#include <tinyxml.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

#include "store/ReportDocument.h"
#include "store/ReportShape.h"

namespace {

/// How deep elements nest, and how many attributes an element has at most.
struct Extent {
  int depth = 0;
  int attributes = 0;
};

Extent Measure(const TiXmlNode& node) {
  Extent extent;
  for (const TiXmlNode* child = node.FirstChild(); child != nullptr; child = child->NextSibling()) {
    const Extent inner = Measure(*child);
    extent.depth = std::max(extent.depth, inner.depth);
    extent.attributes = std::max(extent.attributes, inner.attributes);
  }
  if (const TiXmlElement* const element = node.ToElement()) {
    ++extent.depth;
    int count = 0;
    for (const TiXmlAttribute* attribute = element->FirstAttribute(); attribute != nullptr;
         attribute = attribute->Next()) {
      ++count;
    }
    extent.attributes = std::max(extent.attributes, count);
  }
  return extent;
}

struct Report {
  CommandStats commands;
  FileTypeStats fileTypes;
  SystemProperties properties;
  std::wstring commandChain;

  std::string Text() const {
    TiXmlDocument document;
    BuildReport(document, commands, fileTypes, properties, {L"", L"", L"id", L""});
    TiXmlPrinter printer;
    document.Accept(&printer);
    return printer.CStr();
  }
};

/// Compares the verdict on `text` with what the parser makes of it. Returns whether it was parsed.
bool CheckVerdict(std::string text, TiXmlDocument& document) {
  const bool isSafe = IsSafeToParse(text);
  text.resize(std::min(text.size(), text.find('\0')));
  // What is refused can be parsed here: the text's size bounds it, and its end cuts no character
  // when some spaces follow.
  if (!isSafe) text += "   ";
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
      fmemopen(text.data(), text.size(), "r"), std::fclose);
  const bool isParsed = stream != nullptr && document.LoadFile(stream.get());
  const Extent extent = Measure(document);
  // An element at the limit may hold empty ones.
  if (isSafe && (extent.depth > DepthLimit + 1 || extent.attributes > AttributeLimit)) {
    std::abort();
  }
  if (!isSafe && isParsed && extent.depth <= DepthLimit && extent.attributes <= AttributeLimit) {
    std::abort();
  }
  return isSafe && isParsed;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  // The same text as one level of a deep nesting; its first byte says how much of it begins it.
  if (size > 0) {
    const std::size_t start = std::min<std::size_t>(data[0], size - 1);
    std::string nested = bytes.substr(1, start);
    for (int level = 0; level <= DepthLimit; ++level) nested += bytes.substr(1 + start);
    TiXmlDocument document;
    CheckVerdict(nested, document);
  }

  TiXmlDocument document;
  if (!CheckVerdict(bytes, document)) return 0;
  Report report;
  if (!MergeReport(document, report.commands, report.fileTypes, report.properties,
                   report.commandChain)) {
    return 0;
  }

  const std::string saved = report.Text();
  if (!IsSafeToParse(saved)) std::abort();
  TiXmlDocument again;
  again.Parse(saved.c_str());
  Report loaded;
  if (again.Error() || !MergeReport(again, loaded.commands, loaded.fileTypes, loaded.properties,
                                    loaded.commandChain)) {
    std::abort();
  }
  // A number that was read as negative is written unsigned, beyond the limit of what is read.
  const auto readBack = [](auto number, auto limit) {
    return std::min(number, static_cast<decltype(number)>(limit));
  };
  const auto readCount = [&](std::uint64_t count) {
    return readBack(count, std::numeric_limits<std::int64_t>::max());
  };
  const auto isSameCommand = [&](const auto& a, const auto& b) {
    return a.first == b.first && a.second.count == readCount(b.second.count) &&
           a.second.order == readBack(b.second.order, std::numeric_limits<std::int32_t>::max());
  };
  const auto isSameFileType = [&](const auto& a, const auto& b) {
    return a.first == b.first && a.second.ocnt == readCount(b.second.ocnt) &&
           a.second.scnt == readCount(b.second.scnt);
  };
  if (!std::ranges::equal(loaded.commands.GetEntries(), report.commands.GetEntries(),
                          isSameCommand) ||
      !std::ranges::equal(loaded.fileTypes.GetEntries(), report.fileTypes.GetEntries(),
                          isSameFileType)) {
    std::abort();
  }
  return 0;
}
