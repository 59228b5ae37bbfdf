#include "collector/http/Response.h"

#include <array>
#include <charconv>

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

std::string_view reason_of(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 201:
      return "Created";
    case 204:
      return "No Content";
    case 400:
      return "Bad Request";
    case 401:
      return "Unauthorized";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 408:
      return "Request Timeout";
    case 409:
      return "Conflict";
    case 411:
      return "Length Required";
    case 413:
      return "Content Too Large";
    case 422:
      return "Unprocessable Content";
    case 429:
      return "Too Many Requests";
    case 503:
      return "Service Unavailable";
    default:
      return "";
  }
}

std::string_view body_of(const Response& response) {
  return response.fixed_body.empty() ? std::string_view(response.body) : response.fixed_body;
}

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
  // A response of this status never has a body (RFC 9110, 15.3.5).
  const bool can_have_body = response.status != 204;
  if (can_have_body) text += "\r\nContent-Type: " + response.content_type;
  if (response.source) {
    if (form.knows_chunks) text += "\r\nTransfer-Encoding: chunked";
  } else if (can_have_body) {
    text += "\r\nContent-Length: " + std::to_string(body_of(response).size());
  }
  text += form.keeps_alive ? "\r\nConnection: keep-alive\r\n" : "\r\nConnection: close\r\n";
  text += response.fields + "\r\n";
  if (form.has_body && can_have_body && !response.source) text += body_of(response);
  return text;
}

std::string format_chunk(std::string_view part) {
  std::array<char, 16> size{};
  const auto written = std::to_chars(size.data(), size.data() + size.size(), part.size(), 16);
  std::string chunk(size.data(), written.ptr);
  chunk.append("\r\n").append(part).append("\r\n");
  return chunk;
}

}  // namespace pelto::collector
