#include "store/ReportDocument.h"

#include <tinyxml.h>

#include <cstdint>
#include <string>

#include "platform/AnsiText.h"
#include "platform/DecimalText.h"
#include "store/ReportElements.h"

using namespace report;

namespace {

TiXmlElement& AddElement(TiXmlNode& parent, const char* name) {
  return *parent.LinkEndChild(new TiXmlElement(name))->ToElement();
}

void SetAttribute(TiXmlElement& element, const char* name, const std::wstring& value) {
  element.SetAttribute(name, ToAnsi(value).c_str());
}

/// Digits are the same bytes in every ANSI code page.
void SetAttribute(TiXmlElement& element, const char* name, std::uint64_t value) {
  element.SetAttribute(name, std::to_string(value).c_str());
}

/// `name` is in the ANSI code page. Returns the element, which further attributes may follow.
TiXmlElement& AddProperty(TiXmlElement& section, const std::string& name,
                          const std::wstring& value) {
  TiXmlElement& property = AddElement(section, PropertyElement);
  property.SetAttribute(NameAttribute, name.c_str());
  property.LinkEndChild(new TiXmlText(ToAnsi(value).c_str()));
  return property;
}

void AddCommands(TiXmlElement& root, const CommandStats& commands) {
  TiXmlElement& list = AddElement(AddElement(root, CommandSection), CommandList);
  for (const auto& [name, stat] : commands.GetEntries()) {
    TiXmlElement& command = AddElement(list, CommandElement);
    SetAttribute(command, OrderAttribute, stat.order);
    SetAttribute(command, NameAttribute, name);
    SetAttribute(command, CountAttribute, stat.count);
  }
}

void AddFileTypes(TiXmlElement& root, const FileTypeStats& fileTypes) {
  TiXmlElement& list = AddElement(AddElement(root, FileTypeSection), FileTypeList);
  for (const auto& [name, stat] : fileTypes.GetEntries()) {
    TiXmlElement& fileType = AddElement(list, FileTypeElement);
    SetAttribute(fileType, NameAttribute, name);
    SetAttribute(fileType, OpenedAttribute, stat.ocnt);
    SetAttribute(fileType, SavedAttribute, stat.scnt);
  }
}

void AddSystemProperties(TiXmlElement& root, const SystemProperties& properties,
                         const std::wstring& installationIdentifier) {
  TiXmlElement& section = AddElement(root, SystemSection);
  for (const auto& [key, value] : properties) {
    SetAttribute(AddProperty(section, ToAnsi(key.name), value), CategoryAttribute, key.category);
  }
  // The collecting server looks for the identifier here, and not in "cust_info", which a report
  // without an e-mail address lacks. Without a category it is never loaded as a property of the
  // machine (docs/compatibility.md, 14).
  AddProperty(section, IdentifierProperty, installationIdentifier);
}

/// The list inside a section of the root, or null.
const TiXmlElement* FindList(const TiXmlElement& root, const char* section, const char* list) {
  const TiXmlElement* const holder = root.FirstChildElement(section);
  return holder == nullptr ? nullptr : holder->FirstChildElement(list);
}

/// Calls `merge` for each child of `list` called `name`; a null list has none.
template <typename Merge>
void ForEachElement(const TiXmlElement* list, const char* name, Merge merge) {
  if (list == nullptr) return;
  for (const TiXmlElement* element = list->FirstChildElement(name); element != nullptr;
       element = element->NextSiblingElement(name)) {
    merge(*element);
  }
}

std::uint64_t ParseCount(const char* text) {
  return static_cast<std::uint64_t>(ParseInt64(text));
}

void MergeCommand(CommandStats& commands, const char* name, const char* order, const char* count) {
  if (name == nullptr || order == nullptr || count == nullptr) return;
  CommandStat stat;
  stat.event = {UsageEventKind::Command, ToWide(name), {}};
  stat.order = static_cast<std::uint32_t>(ParseInt32(order));
  stat.count = ParseCount(count);
  commands.Merge(stat);
}

void MergeFileType(FileTypeStats& fileTypes, const TiXmlElement& element) {
  const char* const name = element.Attribute(NameAttribute);
  if (name == nullptr) return;
  const char* const opened = element.Attribute(OpenedAttribute);
  const char* const saved = element.Attribute(SavedAttribute);
  FileTypeStat stat;
  stat.name = ToWide(name);
  stat.ocnt = opened == nullptr ? 0 : ParseCount(opened);
  stat.scnt = saved == nullptr ? 0 : ParseCount(saved);
  fileTypes.Merge(stat);
}

void MergeSystemProperty(SystemProperties& properties, const TiXmlElement& element) {
  const char* const name = element.Attribute(NameAttribute);
  const char* const category = element.Attribute(CategoryAttribute);
  const char* const value = element.GetText();
  if (name == nullptr || category == nullptr || value == nullptr) return;
  properties.insert_or_assign({ToWide(name), ToWide(category)}, ToWide(value));
}

}  // namespace

void BuildReport(TiXmlDocument& document, const CommandStats& commands,
                 const FileTypeStats& fileTypes, const SystemProperties& systemProperties,
                 const ReportFacts& facts) {
  TiXmlElement& root = AddElement(document, RootElement);
  AddCommands(root, commands);
  AddFileTypes(root, fileTypes);
  AddSystemProperties(root, systemProperties, facts.installationIdentifier);

  TiXmlElement& application = AddElement(root, ApplicationSection);
  if (!facts.applicationName.empty()) {
    AddProperty(application, ApplicationNameProperty, facts.applicationName);
  }
  if (!facts.applicationVersion.empty()) {
    AddProperty(application, ApplicationVersionProperty, facts.applicationVersion);
  }

  if (!facts.email.empty()) {
    AddProperty(AddElement(root, CustomerSection), EmailProperty, facts.email);
  }
}

bool MergeReport(const TiXmlDocument& document, CommandStats& commands, FileTypeStats& fileTypes,
                 SystemProperties& systemProperties, std::wstring& commandChain) {
  const TiXmlElement* const root = document.FirstChildElement(RootElement);
  if (root == nullptr) return false;

  ForEachElement(FindList(*root, CommandSection, CommandList), CommandElement,
                 [&](const TiXmlElement& command) {
                   MergeCommand(commands, command.Attribute(NameAttribute),
                                command.Attribute(OrderAttribute),
                                command.Attribute(CountAttribute));
                 });
  if (const TiXmlElement* const chain = FindList(*root, CommandSection, CommandChainElement);
      chain != nullptr && chain->GetText() != nullptr) {
    commandChain = ToWide(chain->GetText());
  }
  // A run tool is a command without a place in the order of first use.
  ForEachElement(FindList(*root, CounterSection, RunToolList), RunToolElement,
                 [&](const TiXmlElement& runTool) {
                   MergeCommand(commands, runTool.Attribute(NameAttribute), "0",
                                runTool.Attribute(CountAttribute));
                 });
  ForEachElement(FindList(*root, FileTypeSection, FileTypeList), FileTypeElement,
                 [&](const TiXmlElement& fileType) { MergeFileType(fileTypes, fileType); });
  ForEachElement(
      root->FirstChildElement(SystemSection), PropertyElement,
      [&](const TiXmlElement& property) { MergeSystemProperty(systemProperties, property); });
  return true;
}
