// What an upload and whoever receives it must agree on. All of it is ASCII.
#pragma once

/// The form's field with the upload's identifier, a GUID.
inline constexpr wchar_t IdField[] = L"Id";
/// The form's field with the report in Base64.
inline constexpr wchar_t ReportField[] = L"peltorpt";
/// The user agent, which servers may know (docs/compatibility.md, 39).
inline constexpr wchar_t UserAgent[] = L"CrashRpt";
