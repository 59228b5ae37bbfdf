// The report as an XML document. Its text is bytes in the ANSI code page, and it has no XML
// declaration (docs/compatibility.md, 15).
#pragma once

#include <string>

#include "store/SystemProperties.h"
#include "usage/CommandStats.h"
#include "usage/FileTypeStats.h"

class TiXmlDocument;

/// The parts of a report besides the statistics and the machine's properties.
struct ReportFacts {
  std::wstring applicationName;
  std::wstring applicationVersion;
  std::wstring installationIdentifier;
  std::wstring email;
};

/// Appends a report to the empty `document`.
void BuildReport(TiXmlDocument& document, const CommandStats& commands,
                 const FileTypeStats& fileTypes, const SystemProperties& systemProperties,
                 const ReportFacts& facts);

/// Adds the content of a loaded report to the statistics and the properties; nothing is cleared
/// first. `commandChain` is replaced when the report contains one. An entry that lacks a required
/// attribute is skipped; numbers are read by the rules of `atoi` and `_atoi64`. Returns false, and
/// changes nothing, when the document is not a report.
bool MergeReport(const TiXmlDocument& document, CommandStats& commands, FileTypeStats& fileTypes,
                 SystemProperties& systemProperties, std::wstring& commandChain);
