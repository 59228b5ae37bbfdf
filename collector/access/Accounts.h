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
#include "collector/access/Audit.h"

namespace pelto::collector {

/// An account and what it is like now.
struct KnownAccount {
  Account account;
  /// Changes with the password and the role, and is another one for a new account of the same name.
  std::string stamp;

  bool operator==(const KnownAccount&) const = default;
};

/// What became of a change that must leave an account of the role `admin`.
enum class AccountChange { done, unknown, last_admin };

/// The accounts in the storage's file, with hashes of their passwords. Each change is noted in the
/// audit, and fails if it cannot be. All operations can be called from any thread; each throws
/// `StorageError`. Several processes can use one file at a time.
class Accounts {
 public:
  /// Opens the storage's file; makes it if it is missing.
  explicit Accounts(const std::filesystem::path& file);

  /// Returns whether there was no account of this name.
  bool add(const Account& account, std::string_view password, const Actor& by);
  /// Adds the first account, which is noted as its own doing. Returns whether there was none.
  bool add_first(const Account& account, std::string_view password, Time at);
  /// Returns whether there is an account of this name.
  bool set_password(const std::string& name, std::string_view password, const Actor& by);
  /// Returns whether there was an account of this name.
  bool remove(const std::string& name, const Actor& by);
  /// The same, unless it is the last one of its role `admin`.
  AccountChange remove_if_dispensable(const std::string& name, const Actor& by);
  AccountChange set_role(const std::string& name, Role role, const Actor& by);
  bool is_empty();
  /// By name.
  std::vector<Account> list();

  /// The account, if there is one of this name and the password is its. Takes as long without one:
  /// the time does not tell which names there are.
  std::optional<KnownAccount> find(const std::string& name, std::string_view password);
  /// The account of this name, whatever its password.
  std::optional<KnownAccount> find(const std::string& name);

 private:
  struct Row {
    Role role;
    std::string hash;
  };

  std::optional<Row> read(const std::string& name);
  template <typename Make>
  bool change(const Actor& by, Action action, const std::string& detail, Make make);
  template <typename Action>
  auto run(Action action);

  std::filesystem::path file_;
  std::mutex mutex_;
  SQLite::Database database_;
};

}  // namespace pelto::collector
