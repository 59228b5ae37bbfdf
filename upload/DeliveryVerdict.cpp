#include "upload/DeliveryVerdict.h"

#include "platform/DecimalText.h"

namespace {

constexpr int Delivered = 200;

}  // namespace

bool IsJudgedByBody(std::string_view body) {
  return !body.empty() && body.front() >= '0' && body.front() <= '9';
}

DeliveryVerdict JudgeDelivery(std::optional<unsigned long> statusCode, std::string_view body) {
  // The status code is ignored then (docs/compatibility.md, 41).
  if (IsJudgedByBody(body)) {
    return ParseInt32(body) == Delivered ? DeliveryVerdict::Delivered
                                         : DeliveryVerdict::RefusedByBody;
  }
  return statusCode == Delivered ? DeliveryVerdict::Delivered : DeliveryVerdict::RefusedByStatus;
}
