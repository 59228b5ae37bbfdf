#include "upload/MultipartForm.h"

namespace {

constexpr wchar_t Boundary[] = L"AaB03x5fs1045fcc7";
constexpr wchar_t LineEnd[] = L"\r\n";

std::wstring PartStart(const std::wstring& name) {
  return std::wstring(L"--") + Boundary + LineEnd + L"Content-disposition: form-data; name=\"" +
         name + L"\"";
}

/// The path's part behind its last backslash.
std::wstring FileName(const std::wstring& path) {
  const std::size_t backslash = path.rfind(L'\\');
  return backslash == std::wstring::npos ? path : path.substr(backslash + 1);
}

}  // namespace

std::wstring FormRequestHeader() {
  return std::wstring(L"Content-type: multipart/form-data; boundary=") + Boundary;
}

std::wstring TextPartHeader(const std::wstring& name) {
  return PartStart(name) + LineEnd + LineEnd;
}

std::wstring AttachmentPartHeader(const std::wstring& name, const CUploadFile& file) {
  return PartStart(name) + L"; filename=\"" + FileName(file.path) + L"\"" + LineEnd +
         L"Content-Type: " + file.contentType + LineEnd + L"Content-Transfer-Encoding: binary" +
         LineEnd + LineEnd;
}

std::wstring PartFooter() {
  return LineEnd;
}

std::wstring ClosingBoundary() {
  return std::wstring(L"--") + Boundary + L"--" + LineEnd;
}

std::optional<std::uint64_t> FormLength(const CUploadRequest& request,
                                        const FileSizeReader& readFileSize) {
  std::uint64_t length = 0;
  for (const auto& [name, value] : request.textFields) {
    length += TextPartHeader(name).size() + value.size() + PartFooter().size();
  }
  for (const auto& [name, file] : request.files) {
    const std::optional<std::uint64_t> size = readFileSize(file.path);
    if (!size) return {};
    length += AttachmentPartHeader(name, file).size() + *size + PartFooter().size();
  }
  return length + ClosingBoundary().size();
}
