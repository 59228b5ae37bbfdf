#include "app/ProductVersion.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/WindowsHeader.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"

namespace {

constexpr wchar_t Version[] = L"65535.7.40000.12";

std::wstring VersionedProgram() {
  return ProgramFolder() + L"\\versioned.exe";
}

TEST(ProductVersion, IsTheProductsAndNotTheFiles) {
  EXPECT_EQ(ReadProductVersion(VersionedProgram()), Version);
}

TEST(ProductVersion, IsReadFromAPathOutsideTheCodePage) {
  const TempFolder folder;
  const std::wstring path = folder / L"\u03A9\u0416 \u6771.exe";
  ASSERT_TRUE(CopyFileW(VersionedProgram().c_str(), path.c_str(), TRUE)) << GetLastError();
  EXPECT_EQ(ReadProductVersion(path), Version);
}

TEST(ProductVersion, IsReadWhileAnotherProcessReadsTheFile) {
  const TempFolder folder;
  const std::wstring path = folder / L"busy.exe";
  ASSERT_TRUE(CopyFileW(VersionedProgram().c_str(), path.c_str(), TRUE)) << GetLastError();
  const FileHolder holder(L"read", path);
  EXPECT_EQ(ReadProductVersion(path), Version);
}

TEST(ProductVersion, OfAnExecutableWithoutAVersionResourceIsEmpty) {
  EXPECT_EQ(ReadProductVersion(ProgramFolder() + L"\\holder.exe"), L"");
}

TEST(ProductVersion, OfAMissingFileIsEmpty) {
  const TempFolder folder;
  EXPECT_EQ(ReadProductVersion(folder / L"missing.exe"), L"");
}

TEST(ProductVersion, OfAFileInAMissingFolderIsEmpty) {
  const TempFolder folder;
  EXPECT_EQ(ReadProductVersion(folder / L"missing\\host.exe"), L"");
}

TEST(ProductVersion, OfAnEmptyPathIsEmpty) {
  EXPECT_EQ(ReadProductVersion(L""), L"");
}

TEST(ProductVersion, OfATextFileIsEmpty) {
  const TempFolder folder;
  const std::wstring path = folder / L"host.exe";
  WriteBytes(path, "ProductVersion 1.2.3.4\r\n");
  EXPECT_EQ(ReadProductVersion(path), L"");
}

TEST(ProductVersion, OfAnEmptyFileIsEmpty) {
  const TempFolder folder;
  const std::wstring path = folder / L"host.exe";
  WriteBytes(path, "");
  EXPECT_EQ(ReadProductVersion(path), L"");
}

TEST(ProductVersion, OfAFolderIsEmpty) {
  const TempFolder folder;
  EXPECT_EQ(ReadProductVersion(folder.Path().wstring()), L"");
}

TEST(ProductVersion, OfAFolderCalledLikeAnExecutableIsEmpty) {
  const TempFolder folder;
  const std::wstring path = folder / L"host.exe";
  ASSERT_TRUE(CreateDirectoryW(path.c_str(), nullptr)) << GetLastError();
  EXPECT_EQ(ReadProductVersion(path), L"");
}

TEST(ProductVersion, OfAHeldExecutableIsEmpty) {
  const TempFolder folder;
  const std::wstring path = folder / L"host.exe";
  ASSERT_TRUE(CopyFileW(VersionedProgram().c_str(), path.c_str(), TRUE)) << GetLastError();
  const FileHolder holder(L"unshared", path);
  EXPECT_EQ(ReadProductVersion(path), L"");
}

/// Where the version resource stands in the bytes of `versioned.exe`.
size_t FindVersionResource(const std::string& bytes) {
  const std::string key("V\0S\0_\0V\0E\0R\0S\0I\0O\0N\0_\0I\0N\0F\0O\0", 30);
  const size_t at = bytes.find(key);
  EXPECT_NE(at, std::string::npos);
  EXPECT_EQ(bytes.find(key, at + 1), std::string::npos);
  return at - 6;  // before the key: its length, its value's length and its type
}

TEST(ProductVersion, OfAnExecutableCutBeforeItsVersionResourceIsEmpty) {
  const std::string bytes = ReadBytes(VersionedProgram());
  const size_t resource = FindVersionResource(bytes);
  const TempFolder folder;
  const std::wstring path = folder / L"cut.exe";
  for (const size_t size :
       {size_t{1}, size_t{2}, size_t{64}, size_t{200}, size_t{1024}, resource / 2, resource}) {
    WriteBytes(path, std::string_view(bytes).substr(0, size));
    EXPECT_EQ(ReadProductVersion(path), L"") << "cut after " << size << " bytes";
  }
}

TEST(ProductVersion, OfAnExecutableCutInItsVersionResourceIsEmpty) {
  const std::string bytes = ReadBytes(VersionedProgram());
  const size_t resource = FindVersionResource(bytes);
  const size_t length = static_cast<unsigned char>(bytes[resource]) +
                        size_t{static_cast<unsigned char>(bytes[resource + 1])} * 256;
  ASSERT_GT(length, 92U) << "no fixed record";
  const TempFolder folder;
  const std::wstring path = folder / L"cut.exe";
  for (size_t kept = 1; kept < length; kept += 7) {
    WriteBytes(path, std::string_view(bytes).substr(0, resource + kept));
    EXPECT_EQ(ReadProductVersion(path), L"") << "cut after " << kept << " of its bytes";
  }
}

}  // namespace
