#include "upload/MultipartForm.h"

namespace {

constexpr wchar_t Boundary[] = L"AaB03x5fs1045fcc7";
constexpr wchar_t LineEnd[] = L"\r\n";

// The small d of "Content-disposition" is kept (docs/compatibility.md, 39).
std::wstring FormatPartStart(const std::wstring& name) {
  return std::wstring(L"--") + Boundary + LineEnd + L"Content-disposition: form-data; name=\"" +
         name + L"\"";
}

/// The path's part after its last backslash.
std::wstring GetFileName(const std::wstring& path) {
  const std::size_t backslash = path.rfind(L'\\');
  return backslash == std::wstring::npos ? path : path.substr(backslash + 1);
}

}  // namespace

std::wstring FormatRequestHeader() {
  return std::wstring(L"Content-type: multipart/form-data; boundary=") + Boundary;
}

std::optional<std::wstring> FormatTextPartHeader(const CUploadRequest& request,
                                                 const std::wstring& name) {
  if (!request.textFields.contains(name)) return {};
  return FormatPartStart(name) + LineEnd + LineEnd;
}

std::optional<std::wstring> FormatAttachmentPartHeader(const CUploadRequest& request,
                                                       const std::wstring& name) {
  const auto file = request.files.find(name);
  if (file == request.files.end()) return {};
  return FormatPartStart(name) + L"; filename=\"" + GetFileName(file->second.path) + L"\"" +
         LineEnd + L"Content-Type: " + file->second.contentType + LineEnd +
         L"Content-Transfer-Encoding: binary" + LineEnd + LineEnd;
}

std::wstring FormatPartFooter() {
  return LineEnd;
}

std::wstring FormatClosingBoundary() {
  return std::wstring(L"--") + Boundary + L"--" + LineEnd;
}

std::optional<std::uint64_t> ComputeFormLength(const CUploadRequest& request,
                                               const FileSizeReader& readFileSize) {
  std::uint64_t length = 0;
  for (const auto& [name, value] : request.textFields) {
    const std::optional<std::wstring> header = FormatTextPartHeader(request, name);
    if (!header) return {};
    length += header->size() + value.size() + FormatPartFooter().size();
  }
  for (const auto& [name, file] : request.files) {
    const std::optional<std::wstring> header = FormatAttachmentPartHeader(request, name);
    const std::optional<std::uint64_t> size = readFileSize(file.path);
    if (!header || !size) return {};
    length += header->size() + *size + FormatPartFooter().size();
  }
  return length + FormatClosingBoundary().size();
}
