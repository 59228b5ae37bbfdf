#include "upload/MultipartForm.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

CUploadRequest MakeRequest(const std::wstring& path = L"C:\\a b\\c.txt") {
  CUploadRequest request;
  request.textFields[L"Id"] = "";
  request.textFields[L"%s%n"] = std::string(1000, 'x');
  request.files[L"log"] = {path, L"text/plain"};
  return request;
}

TEST(MultipartForm, TextsAreExactlyThese) {
  const CUploadRequest request = MakeRequest();
  EXPECT_EQ(FormatRequestHeader(),
            L"Content-type: multipart/form-data; boundary=AaB03x5fs1045fcc7");
  EXPECT_EQ(FormatTextPartHeader(request, L"Id"),
            L"--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"Id\"\r\n\r\n");
  EXPECT_EQ(FormatTextPartHeader(request, L"%s%n"),
            L"--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"%s%n\"\r\n\r\n");
  EXPECT_EQ(FormatAttachmentPartHeader(request, L"log"),
            L"--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"log\"; "
            L"filename=\"c.txt\"\r\nContent-Type: text/plain\r\n"
            L"Content-Transfer-Encoding: binary\r\n\r\n");
  EXPECT_EQ(FormatPartFooter(), L"\r\n");
  EXPECT_EQ(FormatClosingBoundary(), L"--AaB03x5fs1045fcc7--\r\n");
}

TEST(MultipartForm, HeaderOfAMissingPartIsNone) {
  const CUploadRequest request = MakeRequest();
  EXPECT_EQ(FormatTextPartHeader(request, L"log"), std::nullopt);
  EXPECT_EQ(FormatTextPartHeader(request, L"id"), std::nullopt);
  EXPECT_EQ(FormatAttachmentPartHeader(request, L"Id"), std::nullopt);
}

TEST(MultipartForm, FileNameIsTheTextAfterTheLastBackslash) {
  for (const auto& [path, name] : {std::pair(L"C:\\a\\b.xml", L"b.xml"),
                                   {L"b.xml", L"b.xml"},
                                   {L"C:/a/b.xml", L"C:/a/b.xml"},
                                   {L"C:\\a\\", L""}}) {
    const std::wstring header =
        FormatAttachmentPartHeader(MakeRequest(path), L"log").value_or(L"none");
    EXPECT_NE(header.find(std::wstring(L"; filename=\"") + name + L"\"\r\n"), std::wstring::npos)
        << testing::PrintToString(path);
  }
}

TEST(FormLength, IsTheSumOfAllPartsAndTheClosingBoundary) {
  for (const std::uint64_t size : {std::uint64_t{0}, std::uint64_t{77}, std::uint64_t{1} << 33}) {
    EXPECT_EQ(ComputeFormLength(MakeRequest(),
                                [size](const std::wstring& path) {
                                  EXPECT_EQ(path, L"C:\\a b\\c.txt");
                                  return std::optional(size);
                                }),
              // Two text headers, an attachment's, three footers, the value, the boundary.
              66 + 68 + 146 + 3 * 2 + 1000 + 23 + size);
  }
  EXPECT_EQ(ComputeFormLength({}, [](const std::wstring&) { return std::nullopt; }), 23U);
}

// docs/compatibility.md, 44.
TEST(FormLength, CountsANameInUtf16Units) {
  const auto length = [](const std::wstring& name) {
    CUploadRequest request;
    request.textFields[name] = "";
    return ComputeFormLength(request, {});
  };
  EXPECT_EQ(length(L"\u00C4\u30A2"), length(L"ab"));
}

TEST(FormLength, IsNoneWhenAnAttachmentsSizeCannotBeRead) {
  EXPECT_EQ(ComputeFormLength(MakeRequest(), [](const std::wstring&) { return std::nullopt; }),
            std::nullopt);
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
