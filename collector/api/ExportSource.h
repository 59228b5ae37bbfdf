#pragma once

#include <optional>
#include <string>
#include <utility>

#include "collector/http/Response.h"
#include "collector/storage/Storage.h"

namespace pelto::collector {

/// The kept deliveries as lines of JSON, read part after part.
class ExportSource : public BodySource {
 public:
  /// Of one installation, or all. `storage` must outlive the source.
  ExportSource(Storage& storage, std::optional<std::string> installation)
      : storage_(storage), installation_(std::move(installation)) {}

  std::optional<std::string> next() override;

 private:
  Storage& storage_;
  std::optional<std::string> installation_;
  ExportPlace place_;
};

}  // namespace pelto::collector
