#include "collector/fleet/ReportText.h"

#include <cstdint>
#include <string_view>

namespace pelto::collector {

namespace {

void append_escaped(std::string& text, std::string_view value) {
  for (const char c : value) {
    switch (c) {
      case '&':
        text += "&amp;";
        break;
      case '<':
        text += "&lt;";
        break;
      case '>':
        text += "&gt;";
        break;
      case '"':
        text += "&quot;";
        break;
      case '\'':
        text += "&apos;";
        break;
      default:
        text += c;
    }
  }
}

void append_attribute(std::string& text, std::string_view name, std::string_view value) {
  // The sender's library encloses a value with a quotation mark in apostrophes.
  const char quote = value.find('"') == std::string_view::npos ? '"' : '\'';
  text += ' ';
  text += name;
  text += '=';
  text += quote;
  append_escaped(text, value);
  text += quote;
}

void append_attribute(std::string& text, std::string_view name, std::int64_t value) {
  append_attribute(text, name, std::to_string(value));
}

void append_property(std::string& text, std::string_view name, std::string_view category,
                     std::string_view value) {
  text += "        <prop";
  append_attribute(text, "name", name);
  if (!category.empty()) append_attribute(text, "cat", category);
  text += '>';
  append_escaped(text, value);
  text += "</prop>\n";
}

void append_commands(std::string& text, const Report& report) {
  text += "    <cmd_stat>\n";
  text += report.commands.empty() ? "        <cmds />\n" : "        <cmds>\n";
  for (const CommandCount& command : report.commands) {
    text += "            <cmd";
    append_attribute(text, "id", command.order);
    append_attribute(text, "name", command.name);
    append_attribute(text, "count", command.uses);
    text += " />\n";
  }
  if (!report.commands.empty()) text += "        </cmds>\n";
  text += "    </cmd_stat>\n";
}

void append_file_types(std::string& text, const Report& report) {
  text += "    <ftype_stat>\n";
  text += report.file_types.empty() ? "        <ftypes />\n" : "        <ftypes>\n";
  for (const FileTypeCount& file_type : report.file_types) {
    text += "            <ftype";
    append_attribute(text, "name", file_type.name);
    append_attribute(text, "ocnt", file_type.opened);
    append_attribute(text, "scnt", file_type.saved);
    text += " />\n";
  }
  if (!report.file_types.empty()) text += "        </ftypes>\n";
  text += "    </ftype_stat>\n";
}

}  // namespace

std::string format_report(const Report& report) {
  std::string text = "<PeltoRpt>\n";
  append_commands(text, report);
  append_file_types(text, report);
  text += "    <sys_info>\n";
  for (const MachineValue& property : report.machine) {
    append_property(text, property.name, property.category, property.value);
  }
  append_property(text, "ID", "", report.installation);
  text += "    </sys_info>\n    <app_info>\n";
  append_property(text, "app_name", "", report.application);
  append_property(text, "app_ver", "", report.version);
  text += "    </app_info>\n";
  if (!report.email.empty()) {
    text += "    <cust_info>\n";
    append_property(text, "Email", "", report.email);
    text += "    </cust_info>\n";
  }
  text += "</PeltoRpt>\n";
  return text;
}

}  // namespace pelto::collector
