// The statistics as text, so that a test compares them with one literal.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "usage/CommandStats.h"
#include "usage/FileTypeStats.h"

/// The commands in their order, "name order count;" each.
inline std::wstring FormatCommands(const CommandStats& stats) {
  std::wstring text;
  for (const auto& [name, stat] : stats.GetEntries()) {
    EXPECT_EQ(stat.event.kind, UsageEventKind::Command);
    EXPECT_EQ(stat.event.text, name);
    text += name + L' ' + std::to_wstring(stat.order) + L' ' + std::to_wstring(stat.count) + L';';
  }
  return text;
}

/// The file types in their order, "type opened saved;" each.
inline std::wstring FormatFileTypes(const FileTypeStats& stats) {
  std::wstring text;
  for (const auto& [name, stat] : stats.GetEntries()) {
    EXPECT_EQ(stat.name, name);
    text += name + L' ' + std::to_wstring(stat.ocnt) + L' ' + std::to_wstring(stat.scnt) + L';';
  }
  return text;
}
