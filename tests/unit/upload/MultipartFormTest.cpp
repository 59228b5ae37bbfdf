#include "upload/MultipartForm.h"

#include <gtest/gtest.h>

namespace {

std::optional<std::uint64_t> NoFile(const std::wstring&) {
  return {};
}

TEST(MultipartForm, ItsTextsAreTheseToTheLetter) {
  EXPECT_EQ(FormatRequestHeader(),
            L"Content-type: multipart/form-data; boundary=AaB03x5fs1045fcc7");
  EXPECT_EQ(FormatTextPartHeader(L"Id"),
            L"--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"Id\"\r\n\r\n");
  EXPECT_EQ(FormatAttachmentPartHeader(L"log", {L"C:\\a b\\c.txt", L"text/plain"}),
            L"--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"log\"; "
            L"filename=\"c.txt\"\r\nContent-Type: text/plain\r\n"
            L"Content-Transfer-Encoding: binary\r\n\r\n");
  EXPECT_EQ(FormatPartFooter(), L"\r\n");
  EXPECT_EQ(FormatClosingBoundary(), L"--AaB03x5fs1045fcc7--\r\n");
}

TEST(MultipartForm, AFileNameIsWhatStandsBehindTheLastBackslash) {
  const auto nameOf = [](const wchar_t* path) {
    const std::wstring header = FormatAttachmentPartHeader(L"f", {path, L"t"});
    const size_t start = header.find(L"filename=\"") + 10;
    return header.substr(start, header.find(L'"', start) - start);
  };
  EXPECT_EQ(nameOf(L"C:\\a\\b.xml"), L"b.xml");
  EXPECT_EQ(nameOf(L"b.xml"), L"b.xml");
  EXPECT_EQ(nameOf(L"C:/a/b.xml"), L"C:/a/b.xml");
  EXPECT_EQ(nameOf(L"C:\\a\\"), L"");
}

TEST(MultipartForm, PercentSignsAreNoPlaceholders) {
  EXPECT_NE(FormatTextPartHeader(L"%s%n").find(L"name=\"%s%n\""), std::wstring::npos);
}

TEST(FormLength, OfNoFieldsIsTheClosingBoundarys) {
  EXPECT_EQ(ComputeFormLength({}, NoFile), FormatClosingBoundary().size());
}

TEST(FormLength, IsThatOfTheBodyItself) {
  CUploadRequest request;
  request.textFields[L"peltorpt"] = std::string(1000, 'x');
  request.textFields[L"Id"] = "";
  request.files[L"f"] = {L"C:\\a\\b.bin", L"application/octet-stream"};
  const std::wstring body = FormatTextPartHeader(L"Id") + FormatPartFooter() +
                            FormatTextPartHeader(L"peltorpt") + std::wstring(1000, L'x') +
                            FormatPartFooter() +
                            FormatAttachmentPartHeader(L"f", request.files[L"f"]) +
                            std::wstring(77, L'y') + FormatPartFooter() + FormatClosingBoundary();
  const auto size = [](const std::wstring& path) {
    EXPECT_EQ(path, L"C:\\a\\b.bin");
    return std::optional<std::uint64_t>(77);
  };
  EXPECT_EQ(ComputeFormLength(request, size), body.size());
}

TEST(FormLength, GoesBeyond32Bits) {
  CUploadRequest request;
  request.files[L"f"] = {L"big", L"t"};
  const auto size = [](const std::wstring&) { return std::optional<std::uint64_t>(1ULL << 33); };
  EXPECT_GT(ComputeFormLength(request, size), 1ULL << 33);
}

TEST(FormLength, IsNoneWhenAnAttachmentsSizeCannotBeHad) {
  CUploadRequest request;
  request.textFields[L"Id"] = "x";
  request.files[L"a"] = {L"missing", L"t"};
  EXPECT_EQ(ComputeFormLength(request, NoFile), std::nullopt);
}

TEST(UploadRequest, FieldsAreOrderedByTheirCodeUnits) {
  CUploadRequest request;
  for (const wchar_t* name : {L"peltorpt", L"Id", L"id", L"\u00C4", L"Zz"}) {
    request.textFields[name] = "";
  }
  std::wstring order;
  for (const auto& [name, value] : request.textFields) order += name + L" ";
  EXPECT_EQ(order, L"Id Zz id peltorpt \u00C4 ");
}

}  // namespace
