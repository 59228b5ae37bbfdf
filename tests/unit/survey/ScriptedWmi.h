// A fake of Windows Management Instrumentation at the level of queries.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "survey/WmiQuery.h"

/// One object of a result: names and values in the order in which the engine adds them.
using ScriptedRow = std::vector<std::pair<std::wstring, std::wstring>>;

/// The objects of a result.
using ScriptedRows = std::vector<ScriptedRow>;

/// Accepts the queries in `results`, refuses all others, and records every query.
class ScriptedWmi {
 public:
  struct Call {
    std::wstring space;
    std::wstring query;
    std::wstring properties;
    /// The name of the section for the first row.
    std::wstring section;

    bool operator==(const Call&) const = default;
  };

  /// Rows by the exact text of the query.
  std::map<std::wstring, ScriptedRows> results;
  /// Rows that a refused query leaves behind.
  std::map<std::wstring, ScriptedRows> leftovers;
  std::vector<Call> calls;
  /// Called at the start of each query.
  std::function<void(const std::wstring& query)> onQuery;

  WmiQuery GetQuery() {
    return [this](const wchar_t* space, const std::wstring& query, const wchar_t* properties,
                  InfoSection* firstRow) {
      if (onQuery) onQuery(query);
      calls.push_back({space, query, properties, firstRow->GetName()});
      const auto result = results.find(query);
      AddRows(result != results.end() ? result->second : leftovers[query], *firstRow);
      return result != results.end() ? 1 : 0;
    };
  }

 private:
  static void AddRows(const ScriptedRows& rows, InfoSection& firstRow) {
    InfoSection* target = nullptr;
    for (const ScriptedRow& row : rows) {
      target = target == nullptr ? &firstRow : &target->GetOrAddNextRow();
      for (const auto& [name, value] : row) target->AddProperty(name, value);
    }
  }
};
