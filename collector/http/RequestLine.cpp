#include "collector/http/RequestLine.h"

#include <algorithm>

namespace pelto::collector {

namespace {

bool is_plain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("._~/:+-").find(c) != std::string_view::npos;
}

bool is_control(char c) {
  return (c >= 0 && c < ' ') || c == '\x7f';
}

std::string quote(std::string_view text) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string quoted = "\"";
  for (const char c : text) {
    if (is_control(c)) {
      const auto byte = static_cast<unsigned char>(c);
      quoted += "\\x";
      quoted += digits[byte / 16];
      quoted += digits[byte % 16];
      continue;
    }
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "\"";
}

}  // namespace

std::string format_pair(std::string_view key, std::string_view value) {
  const bool needs_quotes =
      value.empty() || !std::all_of(value.begin(), value.end(), [](char c) { return is_plain(c); });
  return " " + std::string(key) + "=" + (needs_quotes ? quote(value) : std::string(value));
}

std::string format_record(const RequestRecord& record) {
  const auto or_hyphen = [](std::string_view text) { return text.empty() ? "-" : text; };
  const auto tenths = record.duration.count() / 100;
  std::string line = "time=" + format_time(record.time);
  line += format_pair("listener", record.listener);
  line += format_pair("method", or_hyphen(record.method));
  line += format_pair("path", or_hyphen(record.path));
  line += format_pair("product", or_hyphen(record.product));
  line += format_pair("status", std::to_string(record.status));
  line += format_pair("code", record.code);
  line += format_pair("bytes", std::to_string(record.bytes));
  line += format_pair("ms", std::to_string(tenths / 10) + "." + std::to_string(tenths % 10));
  return line;
}

}  // namespace pelto::collector
