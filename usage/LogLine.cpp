#include "usage/LogLine.h"

std::optional<UsageEventKind> ClassifyLine(std::string_view line) {
  if (line.size() < LogPrefixLength) return {};
  const std::string_view content = line.substr(LogPrefixLength);
  if (content.starts_with(CommandKeyword)) return UsageEventKind::Command;
  if (content.starts_with(OpenDocumentKeyword)) return UsageEventKind::OpenDocument;
  if (content.starts_with(SaveDocumentKeyword)) return UsageEventKind::SaveDocument;
  return {};
}
