#include "collector/storage/Storage.h"

namespace pelto::collector {

void Storage::export_deliveries(const std::optional<std::string>& installation,
                                const std::function<void(const KeptDelivery&)>& take) {
  ExportPlace place;
  for (auto part = export_part(installation, place); !part.empty();
       part = export_part(installation, place)) {
    for (const KeptDelivery& kept : part) take(kept);
  }
}

}  // namespace pelto::collector
