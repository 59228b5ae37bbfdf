#pragma once

#include <functional>
#include <memory>
#include <string>

#include "store/SystemProperties.h"
#include "survey/InfoSection.h"
#include "survey/WmiQuery.h"

/// Builds the description of the machine: a root named "SystemInfo" with one child for each of the
/// seven categories, in their fixed order. A category whose first query fails is left out. Of
/// several processors, graphics adapters or connected network adapters, only the first is described
/// (docs/compatibility.md, 28); later rows stay in the row chain of a child.
std::unique_ptr<InfoSection> BuildSystemInformation(const WmiQuery& ask);

/// Puts one property into the report and replaces one of the same name and category.
using SystemPropertySetter = std::function<void(
    const std::wstring& name, const std::wstring& category, const std::wstring& value)>;

/// Describes the machine and passes every property to `set`. Returns 1, even when some or all
/// categories failed. Returns 0 without running a query when `held`, the report's description, is
/// not empty: a report is described once.
int CollectSystemInformation(const WmiQuery& ask, const SystemProperties& held,
                             const SystemPropertySetter& set);
