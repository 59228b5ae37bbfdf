#pragma once

#include <deque>
#include <string>

/// Turns wide texts into bytes of the ANSI code page and keeps them until it is destroyed.
class CAnsiConverter {
 public:
  /// The converted text, which stays valid as long as the converter; null for null or when the
  /// conversion fails.
  const char* ToAnsi(const wchar_t* text);

 private:
  /// A deque: what is appended moves nothing that was handed out.
  std::deque<std::string> texts_;
};
