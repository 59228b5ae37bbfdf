// The program states the version of the build in each place where Windows reads one, and its name
// and its maker where Windows shows them.
#include <gtest/gtest.h>

#include <cwchar>
#include <iterator>
#include <string>
#include <vector>

#include "app/ProductVersion.h"
#include "platform/Handles.h"
#include "platform/WindowsHeader.h"
#include "tests/support/TestProcess.h"

namespace {

constexpr char VersionText[] = PELTO_VERSION;
const std::wstring Version(VersionText, std::end(VersionText) - 1);

std::wstring Program() {
  return ProgramFolder() + L"\\..\\PELTOSender.exe";
}

/// The program's version resource.
std::vector<char> VersionResource() {
  DWORD ignored = 0;
  std::vector<char> resource(GetFileVersionInfoSizeW(Program().c_str(), &ignored));
  EXPECT_TRUE(GetFileVersionInfoW(Program().c_str(), 0 /* ignored */,
                                  static_cast<DWORD>(resource.size()), resource.data()))
      << GetLastError();
  return resource;
}

std::wstring TextOfVersionResource(const std::wstring& name) {
  const std::vector<char> resource = VersionResource();
  void* text = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(resource.data(), (L"\\StringFileInfo\\040904B0\\" + name).c_str(), &text,
                      &length)) {
    return L"(none)";
  }
  return static_cast<const wchar_t*>(text);
}

TEST(ProgramVersion, OfTheProductIsTheBuilds) {
  EXPECT_EQ(ReadProductVersion(Program()), Version);
}

TEST(ProgramVersion, OfTheFileIsTheBuilds) {
  const std::vector<char> resource = VersionResource();
  void* record = nullptr;
  UINT size = 0;
  ASSERT_TRUE(VerQueryValueW(resource.data(), L"\\", &record, &size));
  const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(record);
  EXPECT_EQ(info.dwFileVersionMS, info.dwProductVersionMS);
  EXPECT_EQ(info.dwFileVersionLS, info.dwProductVersionLS);
}

TEST(ProgramVersion, IsTheBuildsInTheTextsToo) {
  EXPECT_EQ(TextOfVersionResource(L"FileVersion"), Version);
  EXPECT_EQ(TextOfVersionResource(L"ProductVersion"), Version);
}

TEST(ProgramVersion, HasTheTextsThatWindowsShows) {
  for (const wchar_t* const name :
       {L"Comments", L"CompanyName", L"FileDescription", L"LegalCopyright", L"ProductName"}) {
    const std::wstring text = TextOfVersionResource(name);
    EXPECT_NE(text, L"(none)") << std::string(name, name + std::wcslen(name));
    EXPECT_FALSE(text.empty()) << std::string(name, name + std::wcslen(name));
  }
  EXPECT_EQ(TextOfVersionResource(L"InternalName"), L"PELTOSender");
  EXPECT_EQ(TextOfVersionResource(L"OriginalFilename"), L"PELTOSender.exe");
}

TEST(ProgramVersion, IsTheBuildsInTheManifest) {
  const CLibraryHandle program(
      LoadLibraryExW(Program().c_str(), nullptr /* reserved */, LOAD_LIBRARY_AS_DATAFILE));
  ASSERT_TRUE(program) << GetLastError();
  const HRSRC resource = FindResourceW(program.Get(), MAKEINTRESOURCEW(1), RT_MANIFEST);
  ASSERT_NE(resource, nullptr) << GetLastError();
  const std::string manifest(
      static_cast<const char*>(LockResource(LoadResource(program.Get(), resource))),
      SizeofResource(program.Get(), resource));
  EXPECT_NE(manifest.find("name=\"PELTOSender\" version=\"" + std::string(VersionText) + "\""),
            std::string::npos)
      << manifest;
}

}  // namespace
