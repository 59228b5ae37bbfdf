#pragma once

#include <string>

/// The product version of an executable, "%u.%u.%u.%u" of the four parts in its fixed version
/// record, or an empty text when it has none that can be read. Not the file version: that counts
/// builds of one file, and users name their version by the product.
std::wstring ReadProductVersion(const std::wstring& path);
