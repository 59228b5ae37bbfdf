#pragma once

#include <optional>
#include <string>

#include "platform/WindowsHeader.h"

#include <oaidl.h>

/// The text of `value`, which is converted to text in place: a boolean becomes "True" or "False", a
/// number decimal. The text ends at its first NUL character. None for a value without a text form:
/// null, an array, an object.
std::optional<std::wstring> ReadVariantText(VARIANT& value);
