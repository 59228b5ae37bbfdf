#pragma once

#include <optional>
#include <string>

#include "platform/WindowsHeader.h"

/// The resource module that "LangExt.dll" in `folder` chooses: what its export "LoadResExtDLL"
/// returns, or `instance` when that is null. None when there is no such library or it lacks the
/// export.
///
/// The library is freed right after the call (docs/compatibility.md, 3), so the returned module
/// must not depend on it. The returned module stays loaded; the caller frees it.
std::optional<HINSTANCE> LoadResourceModule(const std::wstring& folder, HINSTANCE instance);
