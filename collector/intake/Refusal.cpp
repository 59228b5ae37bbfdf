#include "collector/intake/Refusal.h"

namespace pelto::collector {

std::string_view code_of(Refusal refusal) {
  switch (refusal) {
    case Refusal::not_multipart:
      return "not-multipart";
    case Refusal::no_id:
      return "no-id";
    case Refusal::bad_id:
      return "bad-id";
    case Refusal::no_report:
      return "no-report";
    case Refusal::empty_report:
      return "empty-report";
    case Refusal::bad_base64:
      return "bad-base64";
    case Refusal::truncated:
      return "truncated";
    case Refusal::not_a_report:
      return "not-a-report";
    case Refusal::no_installation:
      return "no-installation";
    case Refusal::unknown_product:
      return "unknown-product";
    case Refusal::method:
      return "method";
    case Refusal::timeout:
      return "timeout";
    case Refusal::length:
      return "length";
    case Refusal::too_large:
      return "too-large";
    case Refusal::busy:
      return "busy";
  }
  return {};
}

}  // namespace pelto::collector
