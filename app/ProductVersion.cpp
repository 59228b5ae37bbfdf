#include "app/ProductVersion.h"

#include <cstdio>

#include "platform/UniqueHandle.h"
#include "platform/WindowsHeader.h"

namespace {

struct GlobalBlockTraits {
  using Handle = HGLOBAL;
  static Handle GetInvalid() { return nullptr; }
  static void Close(Handle block) { GlobalFree(block); }
};

}  // namespace

std::wstring ReadProductVersion(const std::wstring& path) {
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
  const CUniqueHandle<GlobalBlockTraits> block(GlobalAlloc(GPTR, size));
  void* record = nullptr;
  UINT recordSize = 0;
  if (!block || !GetFileVersionInfoW(path.c_str(), 0 /* ignored */, size, block.Get()) ||
      !VerQueryValueW(block.Get(), L"\\", &record, &recordSize) ||
      recordSize < sizeof(VS_FIXEDFILEINFO)) {
    return {};
  }
  const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(record);
  wchar_t text[64];
  const int length =
      std::swprintf(text, std::size(text), L"%u.%u.%u.%u", HIWORD(info.dwProductVersionMS),
                    LOWORD(info.dwProductVersionMS), HIWORD(info.dwProductVersionLS),
                    LOWORD(info.dwProductVersionLS));
  return {text, static_cast<size_t>(length)};
}
