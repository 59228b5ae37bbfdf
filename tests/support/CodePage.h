#pragma once

#include <string>

/// A text and its bytes in one ANSI code page.
struct CodePageText {
  unsigned codePage;
  const wchar_t* text;
  const char* bytes;
  /// The bytes of U+D55C, a Korean syllable that most code pages lack.
  const char* missing;
};

/// The sample of the ANSI code page in force, which must be the one that PELTO_TEST_CODE_PAGE
/// names, or 1252 without it. Otherwise the test fails: the locale of this run is missing.
const CodePageText& GetCodePageText();

/// Whether the code page in force has lead bytes that take the next byte with them.
bool IsDoubleByteCodePage();
