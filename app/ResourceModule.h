#pragma once

#include <optional>
#include <string>

#include "platform/WindowsHeader.h"

/// The module from which texts and pictures come when "LangExt.dll" stands in `folder`: what that
/// library's "LoadResExtDLL" returns, or `instance` when it returns none. None when there is no
/// such library or it lacks the export. The library itself is freed again; the returned module
/// stays loaded.
std::optional<HINSTANCE> LoadResourceModule(const std::wstring& folder, HINSTANCE instance);
