#pragma once

#include <string_view>

namespace pelto::collector {

/// Why a request is refused.
enum class Refusal {
  not_multipart,
  no_id,
  bad_id,
  no_report,
  empty_report,
  bad_base64,
  truncated,
  not_a_report,
  no_installation,
  unknown_product,
  method,
  timeout,
  length,
  too_large,
  busy,
};

/// The code in the line "refused: CODE", as "bad-base64".
std::string_view code_of(Refusal refusal);

}  // namespace pelto::collector
