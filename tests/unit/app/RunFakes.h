// Fakes of time and of the steps of a run, and the data folder that a run works on.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "app/RunSteps.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TempFolder.h"

/// The waits and steps of a run, in order.
using Journal = std::vector<std::string>;

/// Records each wait as a step.
class JournalClock : public FakeClock {
 public:
  explicit JournalClock(Journal& journal) {
    onWait = [this, &journal] { journal.push_back("wait " + std::to_string(waits.back())); };
  }
};

/// Records each step, then does what the test sets for it.
class RecordingSteps : public CRunSteps {
 public:
  explicit RecordingSteps(Journal& journal) : journal_(journal) {}

  void HarvestLogs(const std::wstring& logFolder, CommandStats& commands,
                   FileTypeStats& fileTypes) override {
    journal_.push_back("harvest " + std::filesystem::path(logFolder).filename().string());
    if (onHarvest) onHarvest(commands, fileTypes);
  }
  void ShowConsentDialog(CReportStore* store, int first, int fade) override {
    journal_.push_back("dialog " + std::to_string(first) + " " + std::to_string(fade) +
                       (store != nullptr ? "" : " without a store"));
    if (onDialog) onDialog(store);
  }
  void CollectSystemInformation(CReportStore& store) override {
    journal_.emplace_back("collect");
    if (onCollect) onCollect(store);
  }
  int UploadReport(CReportStore& store, const std::wstring& address) override {
    journal_.push_back("upload " + std::filesystem::path(address).string());
    store.CloseReport();
    sent = ReadBytes(store.GetReportPath());
    return onUpload ? onUpload() : 1;
  }

  std::function<void(CommandStats&, FileTypeStats&)> onHarvest;
  std::function<void(CReportStore*)> onDialog;
  std::function<void(CReportStore&)> onCollect;
  std::function<int()> onUpload;
  /// The bytes of the report file at the last upload.
  std::string sent;

 private:
  Journal& journal_;
};

/// Values of the settings file by "section/key".
using Settings = std::map<std::string, std::string>;

inline constexpr char Identifier[] = "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9";

inline Settings ReadSettings(const std::wstring& path) {
  Settings settings;
  std::istringstream lines(ReadBytes(path));
  std::string section;
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with('\r')) line.pop_back();
    if (line.starts_with('[')) {
      section = line.substr(1, line.size() - 2);
    } else if (const size_t equals = line.find('='); equals != std::string::npos) {
      settings[section + "/" + line.substr(0, equals)] = line.substr(equals + 1);
    }
  }
  return settings;
}

inline void WriteSettings(const std::wstring& path, const Settings& settings) {
  std::string text;
  std::string lastSection;
  for (const auto& [name, value] : settings) {
    const size_t slash = name.find('/');
    const std::string section = name.substr(0, slash);
    if (section != lastSection) text += "[" + section + "]\r\n";
    lastSection = section;
    text += name.substr(slash + 1) + "=" + value + "\r\n";
  }
  WriteBytes(path, text);
}

/// A data folder, of a user who takes part unless other settings are given, and a log folder.
class DataFolder {
 public:
  explicit DataFolder(const Settings& general = {{"General/PeltoState", "1"}}) {
    std::filesystem::create_directory(path);
    std::filesystem::create_directory(logs);
    Settings settings = general;
    settings["PELTO/ID"] = Identifier;
    WriteSettings(settingsPath, settings);
  }

  /// All settings but the identifier, which does not change.
  Settings GetSettings() const {
    Settings settings = ReadSettings(settingsPath);
    EXPECT_EQ(settings["PELTO/ID"], Identifier);
    settings.erase("PELTO/ID");
    return settings;
  }

  const TempFolder temp;
  const std::wstring path = temp / L"data";
  const std::wstring logs = temp / L"logs";
  const std::wstring settingsPath = path + L"\\PeltoReport.ini";
  const std::wstring reportPath = path + L"\\PeltoReport.xml";
};

/// A saved report of the test's installation, given the lines of its parts.
inline std::string FormatReport(const std::string& commands, const std::string& fileTypes,
                                const std::string& properties, const std::string& application) {
  const auto element = [](const std::string& indent, const std::string& name,
                          const std::string& content) {
    if (content.empty()) return indent + "<" + name + " />\r\n";
    return indent + "<" + name + ">\r\n" + content + indent + "</" + name + ">\r\n";
  };
  return element(
      "", "PeltoRpt",
      element("    ", "cmd_stat", element("        ", "cmds", commands)) +
          element("    ", "ftype_stat", element("        ", "ftypes", fileTypes)) +
          element("    ", "sys_info",
                  properties + "        <prop name=\"ID\">" + Identifier + "</prop>\r\n") +
          element("    ", "app_info", application));
}
