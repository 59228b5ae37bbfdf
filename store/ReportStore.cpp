#include "store/ReportStore.h"

#include "platform/WindowsHeader.h"

#include <tinyxml.h>

#include <utility>

#include "platform/GuidText.h"
#include "platform/Handles.h"
#include "platform/Paths.h"
#include "platform/SystemClock.h"
#include "platform/Trace.h"
#include "store/DateGate.h"
#include "store/DateText.h"
#include "store/ReportDocument.h"
#include "store/ReportShape.h"

namespace {

constexpr wchar_t ReportFileName[] = L"PeltoReport.xml";
constexpr wchar_t SettingsFileName[] = L"PeltoReport.ini";

constexpr int LockAttempts = 10;
constexpr std::uint32_t LockWait = 20'000;

constexpr int DefaultConsentState = 2;
constexpr int DefaultShowMessage = 1;

/// The full path of `path`. The private-profile functions look for any other path in the Windows
/// folder.
std::wstring GetFullPath(const std::wstring& path) {
  wchar_t buffer[1040];
  const DWORD length = GetFullPathNameW(path.c_str(), ARRAYSIZE(buffer), buffer, nullptr);
  return length < ARRAYSIZE(buffer) ? std::wstring(buffer, length) : std::wstring();
}

/// Whether nobody has the file open; creates it if it is missing.
bool IsFree(const std::wstring& path) {
  const CFileHandle file(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0 /* no sharing */,
                                     nullptr /* security */, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                     nullptr /* template */));
  return static_cast<bool>(file);
}

/// Whether the file that the stream holds can be given to the XML parser.
bool IsSafe(std::FILE* stream) {
  std::rewind(stream);
  std::string report;
  char buffer[4096];
  while (const size_t count = std::fread(buffer, 1, sizeof buffer, stream)) {
    report.append(buffer, count);
  }
  return std::ferror(stream) == 0 && IsSafeToParse(report);
}

}  // namespace

void CReportStore::SetApplication(std::wstring name, std::wstring version) {
  applicationName_ = std::move(name);
  applicationVersion_ = std::move(version);
}

bool CReportStore::Open(const std::wstring& dataFolder) {
  dataFolder_ = dataFolder;
  reportPath_ = CombinePath(dataFolder_, ReportFileName);
  const std::wstring settingsPath = GetFullPath(CombinePath(dataFolder_, SettingsFileName));
  if (reportPath_.empty() || settingsPath.empty()) {
    Trace(L"data folder", L"its path is too long");
    return false;
  }
  settings_.SetPath(settingsPath);
  const bool hasIdentifier = EnsureIdentifier();
  TraceResult(L"read or make the identifier", hasIdentifier);
  if (!hasIdentifier) return false;
  CloseReport();
  return TakeReport();
}

/// An identifier is never used unless it is stored, so the file is read again after the write.
bool CReportStore::EnsureIdentifier() {
  installationIdentifier_ = GetInstallationIdentifier();
  if (installationIdentifier_.empty()) {
    std::wstring identifier;
    if (!NewGuidText(identifier)) return false;
    settings_.WriteText(settings::ProgramSection, settings::Identifier, identifier);
    installationIdentifier_ = GetInstallationIdentifier();
  }
  return !installationIdentifier_.empty();
}

bool CReportStore::TakeReport() {
  for (int attempt = 0; attempt < LockAttempts; ++attempt) {
    if (IsFree(reportPath_)) {
      // Another process may take the file between the test and this call, which then fails and ends
      // the opening (docs/compatibility.md, 12 and 13).
      std::FILE* stream = nullptr;
      if (_wfopen_s(&stream, reportPath_.c_str(), L"ab+") == 0) report_.Reset(stream);
      TraceResult(L"open the report", static_cast<bool>(report_));
      return static_cast<bool>(report_);
    }
    Trace(L"open the report", L"in use or not writable");
    clock_.Wait(LockWait);
  }
  Trace(L"open the report", L"gave up");
  return false;
}

bool CReportStore::DeleteReport() const {
  return DeleteFileW(reportPath_.c_str()) != 0;
}

bool CReportStore::Load() {
  if (!report_ || !IsSafe(report_.Get())) return false;
  std::rewind(report_.Get());
  TiXmlDocument document;
  return document.LoadFile(report_.Get(), TIXML_ENCODING_UNKNOWN) &&
         MergeReport(document, commands_, fileTypes_, systemProperties_, commandChain_);
}

bool CReportStore::Save() {
  TiXmlDocument document;
  BuildReport(document, commands_, fileTypes_, systemProperties_,
              {applicationName_, applicationVersion_, GetInstallationIdentifier(), GetEmail()});
  if (!report_) return false;
  // The stream is opened for writing only, so a later load fails (docs/compatibility.md, 5). When
  // opening fails, the call has closed the old stream, so nothing owns it meanwhile.
  report_.Reset(_wfreopen(reportPath_.c_str(), L"w", report_.Release()));
  return report_ && document.SaveFile(report_.Get()) && std::fflush(report_.Get()) == 0;
}

int CReportStore::GetConsentState() const {
  return settings_.ReadInteger(settings::GeneralSection, settings::PeltoState, DefaultConsentState);
}

void CReportStore::SetConsentState(int state) const {
  settings_.WriteText(settings::GeneralSection, settings::PeltoState, std::to_wstring(state));
}

std::wstring CReportStore::GetEmail() const {
  return settings_.ReadText(settings::GeneralSection, settings::Email);
}

void CReportStore::SetEmail(const std::wstring& email) const {
  settings_.WriteText(settings::GeneralSection, settings::Email, email);
}

bool CReportStore::GetShowMessage() const {
  return settings_.ReadInteger(settings::GeneralSection, settings::ShowMessage,
                               DefaultShowMessage) != 0;
}

void CReportStore::SetShowMessage(bool shows) const {
  settings_.WriteText(settings::GeneralSection, settings::ShowMessage, shows ? L"1" : L"0");
}

std::wstring CReportStore::GetInstallationIdentifier() const {
  return settings_.ReadText(settings::ProgramSection, settings::Identifier);
}

bool CReportStore::IsTransmissionDue() const {
  return IsDue(settings::LastTransmissionDate, TransmissionLimit);
}

bool CReportStore::IsSystemInformationDue() const {
  return IsDue(settings::LastSysInfoCollectingDate, SystemInformationLimit);
}

bool CReportStore::IsDialogDue() {
  if (!GetShowMessage()) return false;
  if (!ReadTicks(settings::LastDlgOpenDate)) {
    StampDialog();
    return false;
  }
  return IsDue(settings::LastDlgOpenDate, DialogLimit);
}

void CReportStore::StampTransmission() {
  Stamp(settings::LastTransmissionDate);
}

void CReportStore::StampSystemInformation() {
  Stamp(settings::LastSysInfoCollectingDate);
}

void CReportStore::StampDialog() {
  Stamp(settings::LastDlgOpenDate);
}

void CReportStore::SetSystemProperty(const std::wstring& name, const std::wstring& category,
                                     const std::wstring& value) {
  systemProperties_.insert_or_assign({name, category}, value);
}

bool CReportStore::IsDue(const wchar_t* key, double limit) const {
  const std::optional<std::uint64_t> now = ToLocalTicks(clock_.GetUtcTime());
  return now && IsGateOpen(*now, ReadTicks(key), limit);
}

/// The date under `key`; none when it is missing or its text is not a date.
std::optional<std::uint64_t> CReportStore::ReadTicks(const wchar_t* key) const {
  const std::optional<CivilTime> date =
      ParseDateText(settings_.ReadText(settings::GeneralSection, key));
  return date ? ToLocalTicks(*date) : std::nullopt;
}

void CReportStore::Stamp(const wchar_t* key) {
  settings_.WriteText(settings::GeneralSection, key, FormatDateText(clock_.GetUtcTime()));
}
