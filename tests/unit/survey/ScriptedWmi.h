// Windows Management Instrumentation as a test writes it.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "survey/WmiQuery.h"

/// One object of a result: names and values in the order in which the engine would add them.
using ScriptedRow = std::vector<std::pair<std::wstring, std::wstring>>;

/// The objects of a result.
using ScriptedRows = std::vector<ScriptedRow>;

/// Answers queries by their exact text with rows, and refuses any other query. Writes down what it
/// is asked.
class ScriptedWmi {
 public:
  struct Question {
    std::wstring space;
    std::wstring query;
    std::wstring properties;
    /// The name of the section that was to take the rows.
    std::wstring section;

    bool operator==(const Question&) const = default;
  };

  std::map<std::wstring, ScriptedRows> answers;
  /// What a refused query leaves behind all the same.
  std::map<std::wstring, ScriptedRows> leftovers;
  std::vector<Question> questions;

  WmiQuery Query() {
    return [this](const wchar_t* space, const std::wstring& query, const wchar_t* properties,
                  InfoSection* firstRow) {
      questions.push_back({space, query, properties, firstRow->GetName()});
      const auto answer = answers.find(query);
      AddRows(answer != answers.end() ? answer->second : leftovers[query], *firstRow);
      return answer != answers.end() ? 1 : 0;
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
