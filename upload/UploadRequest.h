#pragma once

#include <map>
#include <string>

/// An attachment of a request.
struct CUploadFile {
  /// The full path of the file.
  std::wstring path;
  /// Used as given in the part's header.
  std::wstring contentType;
};

/// One POST of a form. Both maps are ordered by the UTF-16 units of their names; the parts are sent
/// in that order.
struct CUploadRequest {
  std::wstring address;
  /// Values by field name.
  std::map<std::wstring, std::string> textFields;
  /// Attachments by field name.
  std::map<std::wstring, CUploadFile> files;
};
