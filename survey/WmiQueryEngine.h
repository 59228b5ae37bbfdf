#pragma once

#include <string>

#include "survey/InfoSection.h"

/// The `WmiQuery` of the machine itself. Waits for each object without a time-out, so a provider
/// that stalls holds the caller. COM must have been initialised on the calling thread; without it,
/// 0. Needs no COM security of the process: it gives the connection its own.
///
/// An error behind the first objects ends the result; what came before it stays.
int RunWmiQuery(const wchar_t* space, const std::wstring& query, const wchar_t* properties,
                InfoSection* firstRow);
