#pragma once

#include <optional>
#include <string>

#include "platform/WindowsHeader.h"

#include <oaidl.h>

/// The text of `value`, which is turned into text in place: a boolean is "True" or "False", a
/// number is decimal. Text ends at its first NUL character. None for what has no text: null, an
/// array, an object.
std::optional<std::wstring> ReadVariantText(VARIANT& value);
