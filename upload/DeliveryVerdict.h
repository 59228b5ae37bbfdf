#pragma once

#include <optional>
#include <string_view>

/// What a server's answer says of a delivery.
enum class DeliveryVerdict {
  Delivered,
  /// The body begins with a digit, but the number there is not 200.
  RefusedByBody,
  /// The status code is not 200, or there was none.
  RefusedByStatus,
};

/// Whether the answer's body decides, and not its status code: it begins with an ASCII digit.
/// Servers of an older kind say "200" there, whatever the status.
bool IsJudgedByBody(std::string_view body);

/// The verdict on an answer with this status code (none: it could not be read) and a body that
/// begins with `body`.
DeliveryVerdict JudgeDelivery(std::optional<unsigned long> statusCode, std::string_view body);
