#include "collector/access/SetupToken.h"

namespace pelto::collector {

std::string SetupToken::open() {
  std::string token = make_token();
  const std::scoped_lock lock(mutex_);
  hash_ = hash_token(token);
  return token;
}

void SetupToken::close() {
  const std::scoped_lock lock(mutex_);
  hash_.reset();
}

bool SetupToken::is_open() const {
  const std::scoped_lock lock(mutex_);
  return hash_.has_value();
}

bool SetupToken::is_right(std::string_view token) const {
  const TokenHash hash = hash_token(token);
  const std::scoped_lock lock(mutex_);
  return hash_ && are_equal(*hash_, hash);
}

}  // namespace pelto::collector
