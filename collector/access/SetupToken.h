#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "collector/access/Token.h"

namespace pelto::collector {

/// The token with which the first account is made. Can be used from any thread.
class SetupToken {
 public:
  /// Makes a token and returns it; an earlier one is void from then on.
  std::string open();
  /// There is an account now: no token is right any more.
  void close();

  bool is_open() const;
  /// Takes as long for any text.
  bool is_right(std::string_view token) const;

 private:
  mutable std::mutex mutex_;
  std::optional<TokenHash> hash_;
};

}  // namespace pelto::collector
