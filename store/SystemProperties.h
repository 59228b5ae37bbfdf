#pragma once

#include <map>
#include <string>

/// A property of the machine's description is known by its name and its category together.
struct SystemPropertyKey {
  std::wstring name;
  std::wstring category;
};

/// Keys are ordered by the text of the name followed directly by the category; two keys with the
/// same such text are two keys all the same.
struct SystemPropertyOrder {
  bool operator()(const SystemPropertyKey& a, const SystemPropertyKey& b) const;
};

using SystemProperties = std::map<SystemPropertyKey, std::wstring, SystemPropertyOrder>;
