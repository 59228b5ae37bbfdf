// The verdict on any response: the first two bytes are the status code or none, and the rest is the
// body, as a C text.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "upload/DeliveryVerdict.h"

namespace {

/// Whether the number at the start of `body` is 200, whatever its zeros in front.
bool Is200(const std::string& body) {
  const std::string digits = body.substr(0, body.find_first_not_of("0123456789"));
  return digits.ends_with("200") && digits.find_first_not_of('0') == digits.size() - 3;
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
    expected = Is200(body) ? DeliveryVerdict::Delivered : DeliveryVerdict::RefusedByBody;
  }
  if (JudgeDelivery(status, body) != expected) std::abort();
  return 0;
}
