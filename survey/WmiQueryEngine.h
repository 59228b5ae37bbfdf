#pragma once

#include <string>

#include "survey/InfoSection.h"

/// The `WmiQuery` of the local machine. Waits for each object without a timeout, so a provider
/// that stalls blocks the caller. COM must be initialized on the calling thread; otherwise the
/// result is 0. The process needs no COM security: the connection gets its own.
///
/// An error after the first objects ends the result; the rows before it remain.
int RunWmiQuery(const wchar_t* space, const std::wstring& query, const wchar_t* properties,
                InfoSection* firstRow);
