// LangExt.dll: chooses the module that holds the dialog in the user's language.
#include <windows.h>

#include <string>
#include <vector>

#include "ModuleNames.h"

namespace {

/// The folder of a module's file with its last backslash, or empty.
std::wstring FolderOf(HINSTANCE module) {
  constexpr DWORD LongestPath = 32'767;
  std::wstring path(LongestPath + 1, L'\0');
  path.resize(GetModuleFileNameW(module, path.data(), LongestPath + 1));
  return path.substr(0, path.rfind(L'\\') + 1);
}

/// The languages in which Windows itself is shown, then those to which it falls back, and after
/// each the more general ones.
std::vector<std::wstring> PreferredLanguages() {
  constexpr DWORD Flags = MUI_LANGUAGE_NAME | MUI_UI_FALLBACK;
  ULONG count = 0;
  ULONG size = 0;
  if (!GetThreadPreferredUILanguages(Flags, &count, nullptr /* only the size */, &size)) return {};
  std::wstring list(size, L'\0');
  if (!GetThreadPreferredUILanguages(Flags, &count, list.data(), &size)) return {};
  // Each name ends in a NUL, and another NUL ends the list.
  std::vector<std::wstring> languages;
  for (const wchar_t* name = list.c_str(); *name != L'\0'; name += languages.back().size() + 1) {
    languages.emplace_back(name);
  }
  return languages;
}

}  // namespace

extern "C" __declspec(dllexport) HINSTANCE
    __cdecl LoadResExtDLL(HINSTANCE program, DWORD_PTR /*reserved*/) {
  const std::wstring folder = FolderOf(program);
  if (folder.empty()) return nullptr;
  for (const std::wstring& name : ModuleNames(PreferredLanguages())) {
    // The program frees LangExt.dll as soon as this function returns. The module that is returned
    // must stay loaded, so it is another one, and it is not freed here. It has no code to run.
    const HINSTANCE module =
        LoadLibraryExW((folder + name).c_str(), nullptr /* reserved */,
                       LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    if (module != nullptr) return module;
  }
  return nullptr;
}
