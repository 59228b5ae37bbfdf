#pragma once

#include <filesystem>
#include <string>

#include "collector/http/Tls.h"

namespace pelto::collector {

/// Makes a key and a certificate for "localhost", signed by itself, in `folder`.
TlsFiles make_certificate(const std::filesystem::path& folder, const std::string& name = "test");

}  // namespace pelto::collector
