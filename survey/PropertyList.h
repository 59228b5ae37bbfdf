#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Splits a list of property names at ";" and line feeds. Empty pieces are skipped. Spaces belong
/// to a name; a piece of spaces is a name that no object has.
std::vector<std::wstring> SplitPropertyList(std::wstring_view list);
