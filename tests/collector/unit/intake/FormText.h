// The text of forms and of the reports in them, as senders of any kind write them.
#pragma once

#include <string>

#include "upload/Base64.h"

namespace pelto::collector {

inline const std::string form_type = "multipart/form-data; boundary=AaB03x5fs1045fcc7";
inline const std::string form_end = "--AaB03x5fs1045fcc7--\r\n";
inline const std::string delivery_id = "f702f125-e8ff-40f3-8c7a-65a2cc9357f8";

/// One part, with the delimiter before it and the line end after it.
inline std::string part(const std::string& name, const std::string& value) {
  return "--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"" + name + "\"\r\n\r\n" +
         value + "\r\n";
}

/// The report's field: the last byte doubled, in Base64.
inline std::string payload(const std::string& report) {
  return Base64Encode(report + report.back(), 0, '\0');
}

inline std::string form(const std::string& report) {
  return part("Id", delivery_id) + part("peltorpt", payload(report)) + form_end;
}

/// A report of an installation, with more elements in its root and in its `sys_info`.
inline std::string report_text(const std::string& content, const std::string& properties = "",
                               const std::string& installation = "the-id") {
  return "<PeltoRpt>" + content + "<sys_info>" + properties + "<prop name=\"ID\">" + installation +
         "</prop></sys_info></PeltoRpt>";
}

inline std::string commands_text(const std::string& commands) {
  return "<cmd_stat><cmds>" + commands + "</cmds></cmd_stat>";
}

inline std::string file_types_text(const std::string& file_types) {
  return "<ftype_stat><ftypes>" + file_types + "</ftypes></ftype_stat>";
}

}  // namespace pelto::collector
