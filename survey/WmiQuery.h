#pragma once

#include <functional>
#include <string>

#include "survey/InfoSection.h"

/// Runs the WQL statement `query` in the namespace `space`. The first object of the result goes
/// into `firstRow`, each later one into the next row. Of each object, a row receives the properties
/// of the list `properties` (see `SplitPropertyList`) that have a value, as text, under the names
/// as the list spells them.
///
/// Returns 1 when the query was accepted, with or without objects. Returns 0 when it was not, or
/// when `firstRow` is null.
using WmiQuery = std::function<int(const wchar_t* space, const std::wstring& query,
                                   const wchar_t* properties, InfoSection* firstRow)>;
