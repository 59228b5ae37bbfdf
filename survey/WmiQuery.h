#pragma once

#include <functional>
#include <string>

#include "survey/InfoSection.h"

/// Asks Windows Management Instrumentation about the machine: runs the WQL statement `query` in the
/// namespace `space`. The first object of the result goes into `firstRow`, each later one into the
/// row behind; of each object, the properties of the list `properties` (see `SplitPropertyList`)
/// that have a value, as text and under the names as the list spells them.
///
/// 1 when the query was accepted, whether or not it gave an object. 0 when it was not, or when
/// `firstRow` is null.
using WmiQuery = std::function<int(const wchar_t* space, const std::wstring& query,
                                   const wchar_t* properties, InfoSection* firstRow)>;
