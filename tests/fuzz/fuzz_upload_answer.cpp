// The verdict on any answer: the first two bytes say whether there was a status and which, the rest
// is the body, as a C text.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "upload/DeliveryVerdict.h"

namespace {

/// The number at the start of `body`, whose first character is a digit, wrapped at 32 bits.
std::uint32_t NumberOf(const std::string& body) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < body.size() && body[i] >= '0' && body[i] <= '9'; ++i) {
    number = number * 10 + static_cast<std::uint32_t>(body[i] - '0');
  }
  return number;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const unsigned code = data[0] * 256U + data[1];
  const std::optional<unsigned long> status =
      code == 0xFFFF ? std::nullopt : std::optional<unsigned long>(code);
  const std::string body = std::string(reinterpret_cast<const char*>(data) + 2, size - 2).c_str();

  DeliveryVerdict expected =
      code == 200 ? DeliveryVerdict::Delivered : DeliveryVerdict::RefusedByStatus;
  if (!body.empty() && body[0] >= '0' && body[0] <= '9') {
    expected = NumberOf(body) == 200 ? DeliveryVerdict::Delivered : DeliveryVerdict::RefusedByBody;
  }
  if (JudgeDelivery(status, body) != expected) std::abort();
  return 0;
}
