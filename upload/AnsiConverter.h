#pragma once

#include <deque>
#include <string>

/// Converts wide texts to the ANSI code page and keeps the results until it is destroyed.
class CAnsiConverter {
 public:
  /// The converted text, which stays valid as long as the converter. Null when `text` is null or
  /// the conversion fails.
  const char* ToAnsi(const wchar_t* text);

 private:
  /// A deque, because appending must not move the texts that were returned.
  std::deque<std::string> texts_;
};
