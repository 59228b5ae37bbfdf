#include "ui/BackgroundPicture.h"

#include <objidl.h>

#include <algorithm>
#include <cstring>

// Microsoft's GDI+ headers call min and max, which NOMINMAX takes from them.
namespace Gdiplus {
// NOLINTBEGIN(misc-unused-using-decls): only Microsoft's headers use them.
using std::max;
using std::min;
// NOLINTEND(misc-unused-using-decls)
}  // namespace Gdiplus
#include <gdiplus.h>

#include "framework/afxwin.h"
#include "platform/Handles.h"
#include "ui/resource.h"

namespace {

constexpr Gdiplus::ARGB OpaqueWhite = 0xFFFFFFFF;

/// The address of a locked block of `GlobalAlloc`. Unlocks the block and does not free it.
struct GlobalLockTraits {
  using Handle = void*;
  static Handle GetInvalid() { return nullptr; }
  static void Close(Handle bytes) { GlobalUnlock(GlobalHandle(bytes)); }
};
using CGlobalLock = CUniqueHandle<GlobalLockTraits>;

HBITMAP Decode(IStream* stream) {
  // The image may read its bytes at any time, so neither the image nor the block with the bytes is
  // freed (docs/compatibility.md, 51).
  Gdiplus::GpBitmap* image = nullptr;
  if (Gdiplus::DllExports::GdipCreateBitmapFromStream(stream, &image) != Gdiplus::Ok)
    return nullptr;
  HBITMAP bitmap = nullptr;
  if (Gdiplus::DllExports::GdipCreateHBITMAPFromBitmap(image, &bitmap, OpaqueWhite) !=
      Gdiplus::Ok) {
    return nullptr;
  }
  return bitmap;
}

}  // namespace

HBITMAP LoadBackgroundPicture() {
  const Gdiplus::GdiplusStartupInput options;
  ULONG_PTR token = 0;
  Gdiplus::GdiplusStartup(&token, &options, nullptr /* the library starts its own thread */);

  const LPCWSTR name = MAKEINTRESOURCEW(IDR_BACKGROUND);
  const HINSTANCE module = AfxFindResourceHandle(name, L"PNG");
  const HRSRC resource = FindResourceW(module, name, L"PNG");
  if (resource == nullptr) return nullptr;
  const DWORD size = SizeofResource(module, resource);
  const void* const bytes = LockResource(LoadResource(module, resource));
  if (bytes == nullptr) return nullptr;

  const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, size);
  if (block == nullptr) return nullptr;
  const CGlobalLock copy(GlobalLock(block));
  if (!copy) return nullptr;
  std::memcpy(copy.Get(), bytes, size);

  IStream* address = nullptr;
  if (FAILED(CreateStreamOnHGlobal(block, FALSE /* keeps the block */, &address))) return nullptr;
  const CComPointer<IStream> stream(address);
  return Decode(stream.Get());
}
