#pragma once

#include <map>
#include <string>

/// A file that goes with a request.
struct CUploadFile {
  /// The full path of the file.
  std::wstring path;
  /// Used in the part's header as it is given.
  std::wstring contentType;
};

/// One POST of a form. Both maps are ordered by the code units of their names, and that is the
/// order on the wire.
struct CUploadRequest {
  std::wstring address;
  /// Values by field name.
  std::map<std::wstring, std::string> textFields;
  /// Attachments by field name.
  std::map<std::wstring, CUploadFile> files;
};
