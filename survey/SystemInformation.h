#pragma once

#include <functional>
#include <memory>
#include <string>

#include "store/SystemProperties.h"
#include "survey/InfoSection.h"
#include "survey/WmiQuery.h"

/// The description of the machine: a root named "SystemInfo" with one child for each of the seven
/// categories, in their fixed order. A category whose query fails is left out. Of a machine with
/// two processors, graphics adapters or connected network adapters, only the first is described;
/// the others stand in the rows behind a child, if anywhere.
std::unique_ptr<InfoSection> BuildSystemInformation(const WmiQuery& ask);

/// Puts one property into the report; replaces one of that name and category.
using SystemPropertySetter = std::function<void(
    const std::wstring& name, const std::wstring& category, const std::wstring& value)>;

/// Describes the machine and gives every property to `set`. 1 when that was done, also when
/// categories failed, be it all of them. 0, with nothing asked and nothing set, when the report
/// already holds a description: a report is described once.
int CollectSystemInformation(const WmiQuery& ask, const SystemProperties& held,
                             const SystemPropertySetter& set);
