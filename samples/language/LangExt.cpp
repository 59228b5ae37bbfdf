// LangExt.dll: chooses the module that holds the dialog in the user's language. This one always
// takes "Texts.dll" beside the program.
#include <windows.h>

#include <string>

extern "C" __declspec(dllexport) HINSTANCE
    __cdecl LoadResExtDLL(HINSTANCE program, DWORD_PTR /*reserved*/) {
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(program, path, MAX_PATH);
  if (length == 0 || length == MAX_PATH) return nullptr;
  std::wstring texts(path, length);
  texts.replace(texts.rfind(L'\\') + 1, std::wstring::npos, L"Texts.dll");
  // The program frees LangExt.dll as soon as this function returns. The module that is returned
  // must stay loaded, so it is another one, and it is not freed here.
  return LoadLibraryW(texts.c_str());
}
