#pragma once

#include <optional>
#include <string_view>

/// The verdict on a delivery by the server's response.
enum class DeliveryVerdict {
  Delivered,
  /// The body begins with a number other than 200.
  RefusedByBody,
  /// The status code is not 200, or could not be read.
  RefusedByStatus,
};

/// Whether the response's body decides instead of the status code: it begins with an ASCII digit.
/// Older servers confirm with "200" in the body under any status (docs/compatibility.md, 41).
bool IsJudgedByBody(std::string_view body);

/// The verdict on a response with `statusCode` (none when it could not be read) and a body that
/// begins with `body`.
DeliveryVerdict JudgeDelivery(std::optional<unsigned long> statusCode, std::string_view body);
