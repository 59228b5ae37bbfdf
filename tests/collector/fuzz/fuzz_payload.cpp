// A report's field of any bytes: what can be decoded is what the sender encodes of the result, and
// what the sender encodes of any bytes can be decoded.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <variant>

#include "collector/intake/Base64Text.h"
#include "collector/intake/Payload.h"
#include "upload/Base64.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace pelto::collector;
  const std::string input(reinterpret_cast<const char*>(data), size);
  const auto decoded = decode_base64(input);
  if (decoded && Base64Encode(*decoded, 0, '\0') != input) std::abort();
  if (decode_base64(Base64Encode(input, 0, '\0')) != input) std::abort();

  const auto payload = read_payload(input);
  if (const auto* const bytes = std::get_if<std::string>(&payload)) {
    if (!decoded || *bytes + bytes->back() != *decoded) std::abort();
  }
  if (!input.empty()) {
    const auto sent = read_payload(Base64Encode(input + input.back(), 0, '\0'));
    if (!std::holds_alternative<std::string>(sent) || std::get<std::string>(sent) != input) {
      std::abort();
    }
  }
  return 0;
}
