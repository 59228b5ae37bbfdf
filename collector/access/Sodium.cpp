#include "collector/access/Sodium.h"

#include <sodium.h>

#include <stdexcept>

namespace pelto::collector {

void prepare_sodium() {
  if (sodium_init() < 0) throw std::runtime_error("the system gives no random numbers");
}

}  // namespace pelto::collector
