// A "LangExt.dll": loads "Texts.dll" in its own folder and returns it, or null when there is no
// such library. Writes the arguments of each call as a line to "LangExt.calls" in the same folder.
#include <cwchar>
#include <string>

#include "platform/WindowsHeader.h"

namespace {

HINSTANCE self = nullptr;

/// Writes the path of the file `name` in this library's folder to `path`.
template <size_t Size>
void PathBeside(wchar_t (&path)[Size], const wchar_t* name) {
  GetModuleFileNameW(self, path, Size);
  wchar_t* const backslash = std::wcsrchr(path, L'\\');
  if (backslash == nullptr) return;
  std::swprintf(backslash + 1, Size - static_cast<size_t>(backslash + 1 - path), L"%ls", name);
}

void RecordCall(HINSTANCE instance, DWORD_PTR second) {
  wchar_t path[MAX_PATH];
  PathBeside(path, L"LangExt.calls");
  const HANDLE file =
      CreateFileW(path, FILE_APPEND_DATA, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return;
  const std::string line =
      std::to_string(reinterpret_cast<DWORD_PTR>(instance)) + ' ' + std::to_string(second) + '\n';
  DWORD written = 0;
  WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
  CloseHandle(file);
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) self = library;
  return TRUE;
}

extern "C" __declspec(dllexport) HINSTANCE
    __cdecl LoadResExtDLL(HINSTANCE instance, DWORD_PTR second) {
  RecordCall(instance, second);
  wchar_t path[MAX_PATH];
  PathBeside(path, L"Texts.dll");
  return LoadLibraryW(path);
}
