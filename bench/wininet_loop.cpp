// The rate of WinINet alone: bench_wininet_loop PORT BYTES posts that many bytes from memory to
// loopback, in writes of 1,024 bytes.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "platform/WindowsHeader.h"

#include <wininet.h>

int wmain(int count, wchar_t** arguments) {
  if (count != 3) return 2;
  const std::string bytes(static_cast<size_t>(_wtoi64(arguments[2])), 'x');
  const HINTERNET session =
      InternetOpenW(L"bench", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
  const HINTERNET connection =
      InternetConnectW(session, L"127.0.0.1", static_cast<INTERNET_PORT>(_wtoi(arguments[1])),
                       nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0);
  const HINTERNET http = HttpOpenRequestW(connection, L"POST", L"/", nullptr, nullptr, nullptr,
                                          INTERNET_FLAG_NO_CACHE_WRITE, 0);
  INTERNET_BUFFERSW buffers = {};
  buffers.dwStructSize = sizeof buffers;
  buffers.dwBufferTotal = static_cast<DWORD>(bytes.size());
  if (!HttpSendRequestExW(http, &buffers, nullptr, 0, 0)) return 3;
  for (size_t at = 0; at < bytes.size(); at += 1024) {
    DWORD written = 0;
    const auto chunk = static_cast<DWORD>(std::min<size_t>(1024, bytes.size() - at));
    if (!InternetWriteFile(http, bytes.data() + at, chunk, &written)) return 4;
  }
  return HttpEndRequestW(http, nullptr, 0, 0) ? 0 : 5;
}
