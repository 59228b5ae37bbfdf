#include "upload/UploadAddress.h"

#include <algorithm>

#include "platform/DecimalText.h"

namespace {

constexpr std::size_t ProtocolLimit = 512;
constexpr std::size_t HostLimit = 512;
constexpr std::size_t PathLimit = 1024;
/// In characters; the rest of a port's text is not read.
constexpr std::size_t PortTextLimit = 256;

constexpr long HttpPort = 80;
constexpr long HttpsPort = 443;

}  // namespace

std::optional<UploadAddress> SplitAddress(std::wstring_view address) {
  UploadAddress result;
  result.protocol = L"http";
  std::size_t hostStart = 0;
  const std::size_t colon = address.find(L':');
  if (colon != std::wstring_view::npos && colon + 1 < address.size() &&
      address[colon + 1] == L'/') {
    result.protocol = address.substr(0, colon);
    hostStart = std::min(colon + 3, address.size());  // after "://"
  }

  const std::size_t hostEnd = std::min(address.find(L'/', hostStart), address.size());
  const std::wstring_view host = address.substr(hostStart, hostEnd - hostStart);
  const std::size_t portColon = host.find(L':');
  if (portColon != std::wstring_view::npos) {
    result.port = ParseInt32(host.substr(portColon + 1, PortTextLimit));
  } else {
    result.port = result.protocol == L"https" ? HttpsPort : HttpPort;
  }
  result.host = host.substr(0, portColon);
  result.path = address.substr(hostEnd);

  const bool isWithinLimits = result.protocol.size() < ProtocolLimit &&
                              result.host.size() < HostLimit && result.path.size() < PathLimit;
  return isWithinLimits ? std::optional(std::move(result)) : std::nullopt;
}
