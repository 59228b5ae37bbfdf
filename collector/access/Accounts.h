// Who may see the pages.
#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <SQLiteCpp/Database.h>

#include "collector/access/Account.h"

namespace pelto::collector {

/// The accounts in the storage's file, with hashes of their passwords. All operations can be called
/// from any thread; each throws `StorageError`. Several processes can use one file at a time.
class Accounts {
 public:
  /// Opens the storage's file; makes it if it is missing.
  explicit Accounts(const std::filesystem::path& file);

  /// Returns whether there was no account of this name.
  bool add(const Account& account, std::string_view password);
  /// Returns whether there is an account of this name.
  bool set_password(const std::string& name, std::string_view password);
  /// Returns whether there was an account of this name.
  bool remove(const std::string& name);
  /// By name.
  std::vector<Account> list();

  /// The account, if there is one of this name and the password is its. Takes as long without one:
  /// the time does not tell which names there are.
  std::optional<Account> find(const std::string& name, std::string_view password);

 private:
  template <typename Action>
  auto run(Action action);

  std::filesystem::path file_;
  std::mutex mutex_;
  SQLite::Database database_;
};

}  // namespace pelto::collector
