#include "collector/access/Accounts.h"

#include <SQLiteCpp/Statement.h>

#include "collector/access/Password.h"
#include "collector/storage/sqlite/Database.h"

namespace pelto::collector {

namespace {

/// Of a password that nobody has.
const std::string& hash_of_nobody() {
  static const std::string hash = hash_password("");
  return hash;
}

}  // namespace

Accounts::Accounts(const std::filesystem::path& file)
    : file_(file), database_(open_database(file)) {}

/// Calls `action` with the database, which no other thread uses meanwhile.
template <typename Action>
auto Accounts::run(Action action) {
  const std::scoped_lock lock(mutex_);
  try {
    return action(database_);
  } catch (const SQLite::Exception& error) {
    throw storage_error(file_, error);
  }
}

bool Accounts::add(const Account& account, std::string_view password) {
  const std::string hash = hash_password(password);
  return run([&](SQLite::Database& database) {
    SQLite::Statement insert(database, "INSERT OR IGNORE INTO account VALUES (?, ?, ?)");
    insert.bind(1, account.name);
    insert.bind(2, std::string(name_of(account.role)));
    insert.bind(3, hash);
    return insert.exec() == 1;
  });
}

bool Accounts::set_password(const std::string& name, std::string_view password) {
  const std::string hash = hash_password(password);
  return run([&](SQLite::Database& database) {
    SQLite::Statement update(database, "UPDATE account SET password = ? WHERE name = ?");
    update.bind(1, hash);
    update.bind(2, name);
    return update.exec() == 1;
  });
}

bool Accounts::remove(const std::string& name) {
  return run([&](SQLite::Database& database) {
    SQLite::Statement removal(database, "DELETE FROM account WHERE name = ?");
    removal.bind(1, name);
    return removal.exec() == 1;
  });
}

std::vector<Account> Accounts::list() {
  return run([](SQLite::Database& database) {
    std::vector<Account> accounts;
    SQLite::Statement rows(database, "SELECT name, role FROM account ORDER BY name");
    while (rows.executeStep()) {
      const auto role = find_role(rows.getColumn(1).getString());
      if (role) accounts.push_back({rows.getColumn(0).getString(), *role});
    }
    return accounts;
  });
}

std::optional<Account> Accounts::find(const std::string& name, std::string_view password) {
  struct Found {
    std::optional<Role> role;
    std::string hash;
  };
  const Found found = run([&](SQLite::Database& database) -> Found {
    SQLite::Statement row(database, "SELECT role, password FROM account WHERE name = ?");
    row.bind(1, name);
    if (!row.executeStep()) return {std::nullopt, hash_of_nobody()};
    return {find_role(row.getColumn(0).getString()), row.getColumn(1).getString()};
  });
  // Without the lock: it takes long, and other threads may ask meanwhile.
  const bool is_right = is_password_right(password, found.hash);
  if (!is_right || !found.role) return std::nullopt;
  return Account{name, *found.role};
}

}  // namespace pelto::collector
