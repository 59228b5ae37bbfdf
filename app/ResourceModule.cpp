#include "app/ResourceModule.h"

#include "platform/Handles.h"

namespace {

/// The signature of the library's export.
using LoadResExtDll = HINSTANCE(__cdecl*)(HINSTANCE instance, DWORD_PTR reserved);

}  // namespace

std::optional<HINSTANCE> LoadResourceModule(const std::wstring& folder, HINSTANCE instance) {
  const CLibraryHandle library(LoadLibraryW((folder + L"\\LangExt.dll").c_str()));
  if (!library) return {};
  const FARPROC address = GetProcAddress(library.Get(), "LoadResExtDLL");
  if (address == nullptr) return {};
  const auto load = reinterpret_cast<LoadResExtDll>(reinterpret_cast<void*>(address));
  const HINSTANCE module = load(instance, 0);
  return module != nullptr ? module : instance;
}
