#pragma once

#include <set>
#include <string>

/// The texts of events that are not counted. The set contains the empty text only, so that a log
/// line that names no command counts nothing. It is created on first use and never released
/// (docs/compatibility.md, 26).
class EventTextFilter {
 public:
  static const EventTextFilter& GetInstance();

  bool Contains(const std::wstring& text) const { return texts_.contains(text); }

 private:
  EventTextFilter() = default;

  std::set<std::wstring> texts_{std::wstring()};
};
