#pragma once

#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/Stream.h"
#include "store/SettingsFile.h"
#include "store/SystemProperties.h"
#include "usage/CommandStats.h"
#include "usage/FileTypeStats.h"

/// The one way to the two files in the data folder: the settings and the report.
///
/// An open store holds the report file for itself, so that copies of the program that work on one
/// data folder run one after the other. It does not cache settings: each read and write goes to
/// the file.
class CReportStore {
 public:
  /// All three must outlive the store.
  CReportStore(CommandStats& commands, FileTypeStats& fileTypes, CClock& clock)
      : commands_(commands), fileTypes_(fileTypes), clock_(clock) {}

  /// What the next save writes of the host application.
  void SetApplication(std::wstring name, std::wstring version);

  /// Finds the two files in `dataFolder`, makes sure that the settings hold an installation
  /// identifier, and takes the report file for this process. While another process holds that
  /// file, tries ten times and waits 20 s after each. Answers false when no identifier can be made
  /// and stored, or the file cannot be had.
  bool Open(const std::wstring& dataFolder);

  /// Lets go of the report file. Neither load nor save is possible afterwards.
  void CloseReport() { report_.Reset(); }
  bool DeleteReport() const;
  const std::wstring& GetReportPath() const { return reportPath_; }

  /// Adds what the report file holds to the statistics, the system properties and the command
  /// chain. Answers false, with nothing changed, when the file is closed, empty, no sound report
  /// or, after a save, not readable any more.
  bool Load();
  /// Replaces the report file's content. The file stays open, but can only be written from here
  /// on. If the system fails in the middle, what the file held is lost: that is accepted.
  bool Save();

  /// 1: takes part, 2: does not (also when nothing is stored), 3: asked to be reminded later.
  int GetConsentState() const;
  void SetConsentState(int state) const;
  std::wstring GetEmail() const;
  void SetEmail(const std::wstring& email) const;
  /// Whether the consent dialog may come up by itself.
  bool GetShowMessage() const;
  void SetShowMessage(bool shows) const;
  std::wstring GetInstallationIdentifier() const;

  /// Whether 28 days have passed since the last transmission, or there was none.
  bool IsTransmissionDue() const;
  /// Whether 30 days have passed since system information was sent, or it never was.
  bool IsSystemInformationDue() const;
  /// Whether the dialog may come up by itself and 7 days have passed since it was last shown. If
  /// it never was, that is put down as today: a new user is asked in a week, not at once.
  bool IsDialogDue();

  void StampTransmission();
  void StampSystemInformation();
  void StampDialog();

  /// Sets a property of the machine's description; replaces one of that name and category.
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
