#pragma once

#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/Stream.h"
#include "store/SettingsFile.h"
#include "store/SystemProperties.h"
#include "usage/CommandStats.h"
#include "usage/FileTypeStats.h"

/// The access to the two files in the data folder: the settings and the report.
///
/// While a store is open, no other process can open the report file, so that copies of the program
/// that work on one data folder run one after the other. Settings are not cached: each read and
/// write goes to the file.
class CReportStore {
 public:
  /// All three must outlive the store.
  CReportStore(CommandStats& commands, FileTypeStats& fileTypes, CClock& clock)
      : commands_(commands), fileTypes_(fileTypes), clock_(clock) {}

  /// The host application's name and version for the next saves.
  void SetApplication(std::wstring name, std::wstring version);

  /// Uses the two files in `dataFolder`: makes sure that the settings contain an installation
  /// identifier, and takes the report file for this process. If the file is in use, tries ten times
  /// and waits 20 s after each. Returns false when no identifier can be made and stored, or when
  /// the report cannot be opened.
  bool Open(const std::wstring& dataFolder);

  /// Releases the report file. Neither load nor save is possible afterwards.
  void CloseReport() { report_.Reset(); }
  bool DeleteReport() const;
  const std::wstring& GetReportPath() const { return reportPath_; }

  /// Adds the report file's content to the statistics, the system properties and the command chain.
  /// Returns false, with nothing changed, when the file is closed or empty, when it is not a report
  /// that can be parsed, or after a save.
  bool Load();
  /// Replaces the report file's content, whatever it was. The file stays open, but can only be
  /// written from then on. Returns false when it cannot be written; its former content is lost then
  /// (docs/compatibility.md, 18).
  bool Save();

  /// 1: takes part, 2: does not (also when nothing is stored), 3: is to be reminded later.
  int GetConsentState() const;
  void SetConsentState(int state) const;
  std::wstring GetEmail() const;
  void SetEmail(const std::wstring& email) const;
  /// Whether a `duty` run may show the consent dialog.
  bool GetShowMessage() const;
  void SetShowMessage(bool shows) const;
  std::wstring GetInstallationIdentifier() const;

  /// Whether 28 days have passed since the last transmission, or there was none.
  bool IsTransmissionDue() const;
  /// Whether 30 days have passed since system information was sent, or it never was.
  bool IsSystemInformationDue() const;
  /// Whether a `duty` run may show the dialog and 7 days have passed since it was last shown. If it
  /// never was, today's date is written and the result is false, so that a new user is asked in a
  /// week (docs/compatibility.md, 4).
  bool IsDialogDue();

  void StampTransmission();
  void StampSystemInformation();
  void StampDialog();

  /// Sets a property of the machine; replaces one of the same name and category.
  void SetSystemProperty(const std::wstring& name, const std::wstring& category,
                         const std::wstring& value);
  const SystemProperties& GetSystemProperties() const { return systemProperties_; }
  const std::wstring& GetCommandChain() const { return commandChain_; }

 private:
  bool EnsureIdentifier();
  bool TakeReport();
  bool IsDue(const wchar_t* key, double limit) const;
  std::optional<std::uint64_t> ReadTicks(const wchar_t* key) const;
  void Stamp(const wchar_t* key);

  std::wstring applicationName_;
  std::wstring applicationVersion_;
  std::wstring installationIdentifier_;
  std::wstring dataFolder_;
  std::wstring reportPath_;
  CSettingsFile settings_;
  CommandStats& commands_;
  FileTypeStats& fileTypes_;
  SystemProperties systemProperties_;
  CStream report_;
  std::wstring commandChain_;
  CClock& clock_;
};
