// The report as an XML document: what the save writes and what the load takes over. Its text is
// bytes in the ANSI code page, without a declaration.
#pragma once

#include <string>

#include "store/SystemProperties.h"
#include "usage/CommandStats.h"
#include "usage/FileTypeStats.h"

class TiXmlDocument;

/// What a report says beside the statistics and the machine's properties.
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

/// Adds what a loaded report holds to the statistics and the properties; nothing is cleared first.
/// `commandChain` is replaced when the report holds one. An entry that lacks a required attribute
/// is skipped; a number is read by the rules of `atoi` and `_atoi64`. Answers false, and changes
/// nothing, when the document is no report.
bool MergeReport(const TiXmlDocument& document, CommandStats& commands, FileTypeStats& fileTypes,
                 SystemProperties& systemProperties, std::wstring& commandChain);
