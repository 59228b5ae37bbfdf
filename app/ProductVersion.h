#pragma once

#include <string>

/// The product version of the executable at `path`, as "%u.%u.%u.%u" of the four 16-bit parts in
/// its fixed version record, or an empty text when the record cannot be read. It is not the file
/// version (docs/compatibility.md, 1): users name their version by the product.
std::wstring ReadProductVersion(const std::wstring& path);
