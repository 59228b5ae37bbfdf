#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The names in a list whose separators are ";" and the line feed, in their order. Pieces without
/// a character are left out. Everything else belongs to a name, blanks too: a piece of blanks is a
/// name, of a property that nothing has.
std::vector<std::wstring> SplitPropertyList(std::wstring_view list);
