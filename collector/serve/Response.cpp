#include "collector/serve/Response.h"

#include <array>

namespace pelto::collector {

namespace {

int status_of(Refusal refusal) {
  switch (refusal) {
    case Refusal::unknown_product:
      return 404;
    case Refusal::method:
      return 405;
    case Refusal::timeout:
      return 408;
    case Refusal::length:
      return 411;
    case Refusal::too_large:
      return 413;
    case Refusal::busy:
      return 503;
    default:
      return 400;
  }
}

std::string_view reason_of(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 400:
      return "Bad Request";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 408:
      return "Request Timeout";
    case 411:
      return "Length Required";
    case 413:
      return "Content Too Large";
    case 429:
      return "Too Many Requests";
    case 503:
      return "Service Unavailable";
    default:
      return "";
  }
}

std::string two_digits(unsigned number) {
  return {static_cast<char>('0' + number / 10 % 10), static_cast<char>('0' + number % 10)};
}

/// "Sun, 06 Nov 1994 08:49:37 GMT" (RFC 9110, 5.6.7).
std::string format_date(Time time) {
  constexpr std::array<std::string_view, 7> days{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr std::array<std::string_view, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  std::string text(days[std::chrono::weekday(day).c_encoding()]);
  text += ", " + two_digits(unsigned{date.day()}) + " ";
  text += months[unsigned{date.month()} - 1];
  text += " " + std::to_string(int{date.year()}) + " ";
  text += two_digits(static_cast<unsigned>(clock.hours().count())) + ":";
  text += two_digits(static_cast<unsigned>(clock.minutes().count())) + ":";
  text += two_digits(static_cast<unsigned>(clock.seconds().count())) + " GMT";
  return text;
}

}  // namespace

Response refusal_response(Refusal refusal) {
  Response response;
  response.status = status_of(refusal);
  response.code = code_of(refusal);
  response.refusal = refusal;
  response.body = "refused: " + std::string(response.code);
  return response;
}

Response rate_response() {
  Response response = refusal_response(Refusal::busy);
  response.status = 429;
  return response;
}

std::string format_response(const Response& response, const ResponseForm& form) {
  std::string text = "HTTP/1.1 " + std::to_string(response.status) + " ";
  text += reason_of(response.status);
  text += "\r\nDate: " + format_date(form.now);
  text += "\r\nContent-Type: " + response.content_type;
  text += "\r\nContent-Length: " + std::to_string(response.body.size());
  text += form.keeps_alive ? "\r\nConnection: keep-alive\r\n" : "\r\nConnection: close\r\n";
  text += response.fields + "\r\n";
  if (form.has_body) text += response.body;
  return text;
}

}  // namespace pelto::collector
