#include "collector/api/ExportSource.h"

#include "collector/storage/ExportLine.h"

namespace pelto::collector {

std::optional<std::string> ExportSource::next() {
  std::string lines;
  for (const KeptDelivery& kept : storage_.export_part(installation_, place_)) {
    lines += export_line(kept) + "\n";
  }
  return lines.empty() ? std::nullopt : std::optional(std::move(lines));
}

}  // namespace pelto::collector
