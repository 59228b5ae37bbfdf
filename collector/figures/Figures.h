// The questions that the figures answer. This is the one place where counts leave the storage, each
// with the threshold applied.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "collector/storage/Storage.h"

namespace pelto::collector {

/// A question that cannot be put: an unknown name, product or date. The text is one line.
class FigureError : public std::runtime_error {
 public:
  enum class Kind { bad_request, not_found };
  FigureError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

struct FigureQuery {
  /// "overview", "commands", "file-types", "versions", "machines" or "intake".
  std::string name;
  std::optional<std::string> product{};
  std::optional<std::string> version{};
  /// Days as "2026-01-05"; the range is widened to whole periods.
  std::optional<std::string> from{};
  std::optional<std::string> to{};
  /// For this one answer; none: the storage's.
  std::optional<int> threshold{};
};

/// The product of this name, or the only one without a name; "default" where there is none yet.
/// Throws `FigureError` for an unknown one, and for none where there are several.
std::string find_product(Storage& storage, const std::optional<std::string>& name);

/// The answer as a line of JSON, in UTF-8. Throws `FigureError` and `StorageError`.
std::string figure_as_json(Storage& storage, const FigureQuery& query);
/// The answer's rows as CSV (RFC 4180), in UTF-8, with a header.
std::string figure_as_csv(Storage& storage, const FigureQuery& query);

}  // namespace pelto::collector
