#pragma once

#include <set>
#include <string>

/// The texts of events that are not counted. There is one such set in the process, made on first
/// use and never released, and it holds one text, the empty one: a log line that names no command
/// counts nothing.
class EventTextFilter {
 public:
  static const EventTextFilter& GetInstance();

  bool Contains(const std::wstring& text) const { return texts_.contains(text); }

 private:
  EventTextFilter() = default;

  std::set<std::wstring> texts_{std::wstring()};
};
