#pragma once

#include "platform/WindowsHeader.h"

/// Makes a bitmap of the background picture in the resources, on white. Null when there is no such
/// picture or it cannot be read.
///
/// Starts the graphics library each time and never shuts it down. The decoded image and its bytes
/// stay until the process ends, too: the image may still read them, and the dialog is shown once in
/// a process (docs/compatibility.md, 51).
HBITMAP LoadBackgroundPicture();
