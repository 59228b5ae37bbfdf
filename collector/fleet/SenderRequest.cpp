#include "collector/fleet/SenderRequest.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>

#include "upload/Base64.h"
#include "upload/MultipartForm.h"
#include "upload/ReportForm.h"

namespace pelto::collector {

namespace {

/// The form's own texts are ASCII.
std::string narrow(const std::wstring& text) {
  std::string bytes(text.size(), '\0');
  std::ranges::transform(text, bytes.begin(), [](wchar_t c) { return static_cast<char>(c); });
  return bytes;
}

/// What is the same in every form.
struct FormTexts {
  std::string id_header;
  std::string report_header;
  std::string footer = narrow(FormatPartFooter());
  std::string closing = narrow(FormatClosingBoundary());

  FormTexts() {
    CUploadRequest request;
    request.textFields = {{IdField, ""}, {ReportField, ""}};
    id_header = narrow(FormatTextPartHeader(request, IdField).value());
    report_header = narrow(FormatTextPartHeader(request, ReportField).value());
  }
};

}  // namespace

CollectorAddress parse_collector_address(std::string_view address) {
  constexpr std::string_view scheme = "http://";
  if (!address.starts_with(scheme)) {
    throw std::invalid_argument("the address must begin with http://");
  }
  address.remove_prefix(scheme.size());
  const std::size_t slash = std::min(address.find('/'), address.size());
  CollectorAddress result;
  result.path = slash == address.size() ? "/" : std::string(address.substr(slash));
  const std::string_view authority = address.substr(0, slash);
  const std::size_t colon = std::min(authority.rfind(':'), authority.size());
  result.host = std::string(authority.substr(0, colon));
  result.port = colon == authority.size() ? "80" : std::string(authority.substr(colon + 1));
  const bool is_number = !result.port.empty() && std::ranges::all_of(result.port, [](char c) {
    return c >= '0' && c <= '9';
  });
  if (result.host.empty() || !is_number) {
    throw std::invalid_argument("the address must have the form http://HOST:PORT/PATH");
  }
  return result;
}

std::string format_request(const CollectorAddress& address, const std::string& id,
                           std::string report) {
  static const FormTexts texts;
  // The sender repeats the last byte.
  if (!report.empty()) report += report.back();
  const std::string body = texts.id_header + id + texts.footer + texts.report_header +
                           Base64Encode(report, 0, '\n') + texts.footer + texts.closing;
  return "POST " + address.path + " HTTP/1.1\r\nAccept: */*\r\nHost: " + address.host + ":" +
         address.port + "\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nUser-Agent: " + narrow(UserAgent) + "\r\nCache-Control: no-cache\r\n" +
         narrow(FormatRequestHeader()) + "\r\n\r\n" + body;
}

}  // namespace pelto::collector
