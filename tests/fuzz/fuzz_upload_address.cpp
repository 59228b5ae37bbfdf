// The address split on any text: it agrees with a plain reading, one character after the other, and
// every part fits into a buffer of its limit with its end.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/DecimalText.h"
#include "upload/UploadAddress.h"

namespace {

UploadAddress SplitSlowly(const std::wstring& address) {
  UploadAddress result;
  std::wstring rest = address;
  result.protocol = L"http";
  std::wstring before;
  for (std::size_t i = 0; i < address.size(); ++i) {
    if (address[i] == L':') {
      if (i + 1 < address.size() && address[i + 1] == L'/') {
        result.protocol = before;
        rest = i + 3 < address.size() ? address.substr(i + 3) : std::wstring();
      }
      break;
    }
    before += address[i];
  }
  bool isPort = false;
  bool isPath = false;
  std::wstring port;
  for (const wchar_t c : rest) {
    if (c == L'/') isPath = true;
    if (isPath) {
      result.path += c;
    } else if (isPort) {
      port += c;
    } else if (c == L':') {
      isPort = true;
    } else {
      result.host += c;
    }
  }
  result.port = isPort                        ? ParseInt32(std::wstring_view(port).substr(0, 256))
                : result.protocol == L"https" ? 443
                                              : 80;
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::wstring address(data, data + size);
  const UploadAddress expected = SplitSlowly(address);
  const bool fits =
      expected.protocol.size() < 512 && expected.host.size() < 512 && expected.path.size() < 1024;
  const std::optional<UploadAddress> result = SplitAddress(address);
  if (result.has_value() != fits || (fits && *result != expected)) std::abort();
  return 0;
}
