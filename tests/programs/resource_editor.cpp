// Reads or changes a resource of a program:
//
//   resource_editor.exe PROGRAM TYPE NUMBER ">" FILE   writes its bytes to the file
//   resource_editor.exe PROGRAM TYPE NUMBER FILE       replaces it by the file's bytes
//   resource_editor.exe PROGRAM TYPE NUMBER            deletes it
//
// TYPE is a name, or "#" and a number.
#include <cstdlib>
#include <cwchar>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/Handles.h"

namespace {

int Read(const wchar_t* program, const wchar_t* type, const wchar_t* number, const wchar_t* path) {
  const CLibraryHandle module(LoadLibraryExW(program, nullptr, LOAD_LIBRARY_AS_DATAFILE));
  const HRSRC resource = FindResourceW(module.Get(), number, type);
  if (resource == nullptr) return 4;
  const void* const bytes = LockResource(LoadResource(module.Get(), resource));
  std::ofstream file(path, std::ios::binary);
  file.write(static_cast<const char*>(bytes), SizeofResource(module.Get(), resource));
  return file ? 0 : 5;
}

int Change(const wchar_t* program, const wchar_t* type, const wchar_t* number, std::string bytes) {
  const HANDLE update = BeginUpdateResourceW(program, FALSE /* keeps the others */);
  if (!UpdateResourceW(update, type, number, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US),
                       bytes.empty() ? nullptr : bytes.data(), static_cast<DWORD>(bytes.size()))) {
    return 4;
  }
  return EndUpdateResourceW(update, FALSE /* writes */) ? 0 : 5;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  if (count < 4 || count > 6) return 2;
  const wchar_t* const number =
      MAKEINTRESOURCEW(static_cast<WORD>(std::wcstol(arguments[3], nullptr, 10)));
  if (count == 6) return Read(arguments[1], arguments[2], number, arguments[5]);
  std::string bytes;
  if (count == 5) {
    std::ifstream file(arguments[4], std::ios::binary);
    if (!file) return 3;
    bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return Change(arguments[1], arguments[2], number, std::move(bytes));
}
