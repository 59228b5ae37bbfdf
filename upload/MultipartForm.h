// The text of a multipart/form-data body (RFC 7578) around the data of its parts. All of it is
// formed as wide text and goes out in the ANSI code page; lengths are counted in wide characters,
// so the declared length is right only while names, file names and content types are ASCII.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "upload/UploadRequest.h"

/// The header line of the request, without its line end.
std::wstring FormatRequestHeader();

/// What stands before the value of a text field. The keyword is spelled "Content-disposition", with
/// a small d, and is to be kept so.
std::wstring FormatTextPartHeader(const std::wstring& name);

/// What stands before the bytes of an attachment.
std::wstring FormatAttachmentPartHeader(const std::wstring& name, const CUploadFile& file);

/// What stands behind the data of every part.
std::wstring FormatPartFooter();

/// The last line of the body.
std::wstring FormatClosingBoundary();

/// The size of a file in bytes, or none when it cannot be had.
using FileSizeReader = std::function<std::optional<std::uint64_t>(const std::wstring& path)>;

/// The length of the whole body in bytes, or none when the size of an attachment cannot be had.
std::optional<std::uint64_t> ComputeFormLength(const CUploadRequest& request,
                                               const FileSizeReader& readFileSize);
