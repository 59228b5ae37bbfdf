#include "upload/ReportPayload.h"

#include <vector>

std::string ReadReportPayload(std::FILE* stream) {
  if (stream == nullptr) return {};
  // Reserves the file's size, so that a large payload is not copied while it grows. In text mode
  // the payload can only be shorter.
  std::string payload;
  std::fseek(stream, 0, SEEK_END);
  if (const long size = std::ftell(stream); size > 0) {
    payload.reserve(static_cast<std::size_t>(size) + 1);
  }
  std::rewind(stream);

  std::vector<char> buffer(std::size_t{64} * 1024);
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), stream)) {
    payload.append(buffer.data(), count);
  }
  payload += payload.empty() ? '\0' : payload.back();
  return payload;
}
