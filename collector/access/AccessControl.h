#pragma once

#include <filesystem>

#include "collector/access/Accounts.h"
#include "collector/access/Audit.h"
#include "collector/access/LoginLimiter.h"
#include "collector/access/Sessions.h"
#include "collector/access/SetupToken.h"

namespace pelto::collector {

/// Who may do what on a server, and who did. Can be used from any thread.
struct AccessControl {
  /// Opens the storage's file; makes it if it is missing. Throws `StorageError`.
  explicit AccessControl(const std::filesystem::path& file) : accounts(file), audit(file) {}

  Accounts accounts;
  Audit audit;
  Sessions sessions;
  LoginLimiter limiter;
  SetupToken setup;
};

}  // namespace pelto::collector
