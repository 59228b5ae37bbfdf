#include "collector/intake/Payload.h"

#include <optional>
#include <utility>

#include "collector/intake/Base64Text.h"

namespace pelto::collector {

std::variant<std::string, Refusal> read_payload(std::string_view field) {
  if (field.empty()) return Refusal::empty_report;
  std::optional<std::string> payload = decode_base64(field);
  if (!payload) return Refusal::bad_base64;
  // A sender that has an empty report sends one NUL byte.
  if (payload->size() <= 1) return Refusal::empty_report;
  if (payload->back() != (*payload)[payload->size() - 2]) return Refusal::truncated;
  payload->pop_back();
  return *std::move(payload);
}

}  // namespace pelto::collector
