#pragma once

namespace pelto::collector {

/// Must be called before any other function of libsodium; from any thread, and any number of times.
/// Throws `std::runtime_error` if the system gives no random numbers.
void prepare_sodium();

}  // namespace pelto::collector
