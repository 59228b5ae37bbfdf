// The line of the log about one request.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "collector/report/Calendar.h"

namespace pelto::collector {

/// What the log says of a request: nothing of its content, and no address.
struct RequestRecord {
  Time time{};
  /// "intake" or "pages".
  std::string_view listener;
  std::string_view method;
  /// The recognized path; empty for others, which a client can choose freely.
  std::string_view path;
  std::string_view product;
  /// 0: the connection ended before a response.
  int status = 0;
  std::string_view code;
  /// The bytes of the body that arrived.
  std::uint64_t bytes = 0;
  std::chrono::microseconds duration{};
};

/// The record as "key=value" pairs, without a line end. A value is quoted if it is not made of
/// letters, digits and "._~/:+-"; in quotes, a quote and a backslash have a backslash in front, and
/// control characters are "\x0a".
std::string format_record(const RequestRecord& record);

/// One pair of a log line: a space, the key, "=" and the value, quoted where necessary.
std::string format_pair(std::string_view key, std::string_view value);

}  // namespace pelto::collector
