#pragma once

#include <stdexcept>

namespace pelto::collector {

/// A server that cannot start. The text is one line that says what to do.
class ServeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace pelto::collector
