#pragma once

#include <map>
#include <string>

/// The name and the category of a property of the machine together identify it.
struct SystemPropertyKey {
  std::wstring name;
  std::wstring category;
};

/// Keys are ordered by the text of the name followed directly by the category. Different keys with
/// the same such text stay different.
struct SystemPropertyOrder {
  bool operator()(const SystemPropertyKey& a, const SystemPropertyKey& b) const;
};

using SystemProperties = std::map<SystemPropertyKey, std::wstring, SystemPropertyOrder>;
