#pragma once

#include <string>
#include <utility>
#include <vector>

#include "survey/InfoSection.h"

/// A row's names and values.
using Row = std::vector<std::pair<std::wstring, std::wstring>>;
using Rows = std::vector<Row>;

/// All rows of a result. The first one exists even when there was no object.
inline Rows GetRows(InfoSection& first) {
  Rows rows;
  for (InfoSection* section = &first;; section = &section->GetOrAddNextRow()) {
    Row row;
    for (const InfoProperty* p = section->GetFirstProperty(); p != nullptr;
         p = section->GetNextProperty()) {
      row.emplace_back(p->name, p->value);
    }
    rows.push_back(row);
    if (section->GetNextRow() == nullptr) return rows;
  }
}
