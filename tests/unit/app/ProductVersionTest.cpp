#include "app/ProductVersion.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/WindowsHeader.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"

namespace {

constexpr wchar_t Version[] = L"65535.7.40000.12";

std::wstring VersionedProgram() {
  return ProgramFolder() + L"\\versioned.exe";
}

std::wstring CopyVersionedProgram(const TempFolder& folder, const std::wstring& name) {
  EXPECT_TRUE(CopyFileW(VersionedProgram().c_str(), (folder / name).c_str(), TRUE))
      << GetLastError();
  return folder / name;
}

// docs/compatibility.md, 1.
TEST(ProductVersion, IsTheProductsAndNotTheFiles) {
  EXPECT_EQ(ReadProductVersion(VersionedProgram()), Version);
}

TEST(ProductVersion, IsReadFromAPathOutsideTheCodePage) {
  const TempFolder folder;
  EXPECT_EQ(ReadProductVersion(CopyVersionedProgram(folder, L"\u03A9\u0416 \u6771.exe")), Version);
}

TEST(ProductVersion, HeldExecutableIsReadIfItsHolderSharesIt) {
  const TempFolder folder;
  const std::wstring path = CopyVersionedProgram(folder, L"busy.exe");
  {
    const FileHolder holder(L"read", path);
    EXPECT_EQ(ReadProductVersion(path), Version);
  }
  const FileHolder holder(L"unshared", path);
  EXPECT_EQ(ReadProductVersion(path), L"");
}

TEST(ProductVersion, FileWithoutAVersionHasNone) {
  const TempFolder folder;
  WriteBytes(folder / L"text.exe", "ProductVersion 1.2.3.4\r\n");
  WriteBytes(folder / L"empty.exe", "");
  std::filesystem::create_directory(folder.Path() / L"folder.exe");
  for (const std::wstring& path :
       {ProgramFolder() + L"\\holder.exe", folder / L"missing.exe", folder / L"missing\\host.exe",
        std::wstring(), folder / L"text.exe", folder / L"empty.exe", folder.Path().wstring(),
        folder / L"folder.exe"}) {
    EXPECT_EQ(ReadProductVersion(path), L"") << testing::PrintToString(path);
  }
}

/// The offset of the version resource in the bytes of `versioned.exe`.
size_t FindVersionResource(const std::string& bytes) {
  const std::string key("V\0S\0_\0V\0E\0R\0S\0I\0O\0N\0_\0I\0N\0F\0O\0", 30);
  const size_t at = bytes.find(key);
  EXPECT_NE(at, std::string::npos);
  EXPECT_EQ(bytes.find(key, at + 1), std::string::npos);
  return at - 6;  // before the key: its length, its value's length and its type
}

TEST(ProductVersion, ExecutableCutBeforeTheEndOfItsVersionResourceHasNone) {
  const std::string bytes = ReadBytes(VersionedProgram());
  const size_t resource = FindVersionResource(bytes);
  const size_t length = static_cast<unsigned char>(bytes[resource]) +
                        size_t{static_cast<unsigned char>(bytes[resource + 1])} * 256;
  ASSERT_GT(length, 92U) << "no fixed record";
  std::vector<size_t> sizes = {1, 2, 64, 200, 1024, resource / 2, resource};
  for (size_t kept = 1; kept < length; kept += 7) sizes.push_back(resource + kept);
  const TempFolder folder;
  const std::wstring path = folder / L"cut.exe";
  for (const size_t size : sizes) {
    WriteBytes(path, std::string_view(bytes).substr(0, size));
    EXPECT_EQ(ReadProductVersion(path), L"") << size << " bytes, resource at " << resource;
  }
}

}  // namespace
