// The text of a multipart/form-data body (RFC 7578) around the data of its parts. It is formatted
// as wide text and sent in the ANSI code page. Lengths are counted in UTF-16 units, so the declared
// length is right only while names, file names and content types are ASCII (docs/compatibility.md,
// 44).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "upload/UploadRequest.h"

/// The header line of the request, without its line end.
std::wstring FormatRequestHeader();

/// The text before the value of the text field `name`, or none when `request` has no such field.
std::optional<std::wstring> FormatTextPartHeader(const CUploadRequest& request,
                                                 const std::wstring& name);

/// The text before the bytes of the attachment `name`, or none when `request` has no such
/// attachment.
std::optional<std::wstring> FormatAttachmentPartHeader(const CUploadRequest& request,
                                                       const std::wstring& name);

/// The text after the data of every part.
std::wstring FormatPartFooter();

/// The last line of the body.
std::wstring FormatClosingBoundary();

/// The size of a file in bytes, or none when it cannot be read.
using FileSizeReader = std::function<std::optional<std::uint64_t>(const std::wstring& path)>;

/// The length of the whole body in bytes, or none when the size of an attachment cannot be read.
std::optional<std::uint64_t> ComputeFormLength(const CUploadRequest& request,
                                               const FileSizeReader& readFileSize);
