// The report load on any bytes: what is taken for sound nests no deeper than promised when the
// parser has read it, and what was loaded is saved and loaded again with the same counts.
#include <tinyxml.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "store/ReportDocument.h"
#include "store/ReportShape.h"

namespace {

int Depth(const TiXmlNode& node) {
  int deepest = 0;
  for (const TiXmlNode* child = node.FirstChild(); child != nullptr; child = child->NextSibling()) {
    deepest = std::max(deepest, Depth(*child));
  }
  return deepest + (node.ToElement() != nullptr ? 1 : 0);
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  CReportShape shape;
  shape.Feed(bytes);
  if (!shape.IsSound()) return 0;

  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
      fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "r"), std::fclose);
  TiXmlDocument document;
  const bool isParsed = stream != nullptr && document.LoadFile(stream.get());
  // The text of an element is one level more than its element.
  if (Depth(document) > CReportShape::DepthLimit + 1) std::abort();
  Report report;
  if (!isParsed || !MergeReport(document, report.commands, report.fileTypes, report.properties,
                                report.commandChain)) {
    return 0;
  }

  const std::string saved = report.Text();
  CReportShape savedShape;
  savedShape.Feed(saved);
  if (!savedShape.IsSound()) std::abort();
  TiXmlDocument again;
  again.Parse(saved.c_str());
  Report loaded;
  if (again.Error() || !MergeReport(again, loaded.commands, loaded.fileTypes, loaded.properties,
                                    loaded.commandChain)) {
    std::abort();
  }
  const auto isSameCommand = [](const auto& a, const auto& b) {
    return a.first == b.first && a.second.order == b.second.order &&
           a.second.count == b.second.count;
  };
  const auto isSameFileType = [](const auto& a, const auto& b) {
    return a.first == b.first && a.second.ocnt == b.second.ocnt && a.second.scnt == b.second.scnt;
  };
  if (!std::ranges::equal(loaded.commands.GetEntries(), report.commands.GetEntries(),
                          isSameCommand) ||
      !std::ranges::equal(loaded.fileTypes.GetEntries(), report.fileTypes.GetEntries(),
                          isSameFileType)) {
    std::abort();
  }
  return 0;
}
