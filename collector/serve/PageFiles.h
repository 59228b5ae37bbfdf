// The files of the pages, which are in the program.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "collector/http/Response.h"

namespace pelto::collector {

struct EmbeddedFile {
  /// As "index.html" or "assets/app-1a2b3c.js".
  std::string_view path;
  std::string_view content;
  /// The same in gzip.
  std::string_view gzip;
};

/// The files that were built into the program; none if it was built without pages.
std::span<const EmbeddedFile> embedded_pages();

class PageFiles {
 public:
  /// The files must outlive this.
  explicit PageFiles(std::span<const EmbeddedFile> files) : files_(files) {}

  /// A file below "assets/". Its name has a hash of its content, so that browsers keep it for good.
  std::optional<Response> asset(std::string_view name, bool takes_gzip) const;
  /// A page, as "index.html"; browsers ask for it each time. A line that says so if the program was
  /// built without pages.
  Response page(std::string_view name, bool takes_gzip) const;

 private:
  const EmbeddedFile* find(std::string_view path) const;

  std::span<const EmbeddedFile> files_;
};

}  // namespace pelto::collector
