#include "ui/BackgroundPicture.h"

#include <objidl.h>

#include <gdiplus.h>

#include <cstring>
#include <memory>

#include "framework/afxwin.h"
#include "ui/resource.h"

namespace {

constexpr Gdiplus::ARGB OpaqueWhite = 0xFFFFFFFF;

struct ComReleaser {
  void operator()(IUnknown* object) const { object->Release(); }
};

struct GlobalUnlocker {
  void operator()(void* block) const { GlobalUnlock(GlobalHandle(block)); }
};

HBITMAP Decode(IStream* stream) {
  // The image reads from its stream as long as it lives, and it is never freed.
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
  Gdiplus::GdiplusStartup(&token, &options, nullptr /* no output: it keeps its own thread */);

  const LPCWSTR name = MAKEINTRESOURCEW(IDR_BACKGROUND);
  const HINSTANCE module = AfxFindResourceHandle(name, L"PNG");
  const HRSRC resource = FindResourceW(module, name, L"PNG");
  if (resource == nullptr) return nullptr;
  const DWORD size = SizeofResource(module, resource);
  const void* const bytes = LockResource(LoadResource(module, resource));
  if (bytes == nullptr) return nullptr;

  const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, size);
  if (block == nullptr) return nullptr;
  const std::unique_ptr<void, GlobalUnlocker> copy(GlobalLock(block));
  if (!copy) return nullptr;
  std::memcpy(copy.get(), bytes, size);

  IStream* stream = nullptr;
  if (FAILED(CreateStreamOnHGlobal(block, FALSE /* the block stays */, &stream))) return nullptr;
  const std::unique_ptr<IStream, ComReleaser> owner(stream);
  return Decode(stream);
}
