// The bytes of a log that are not text.
#pragma once

inline constexpr char LineFeed = '\n';
/// Belongs to the end of a line if a line feed follows.
inline constexpr char CarriageReturn = '\r';
/// Ends a line's text early.
inline constexpr char Nul = '\0';
/// Ends a file that is read as text.
inline constexpr char Substitute = '\x1A';

/// Whether the byte ends a line, its text or the log.
constexpr bool IsMark(char c) {
  return c == LineFeed || c == Nul || c == Substitute;
}
