#include "collector/access/Accounts.h"

#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

#include "collector/access/Password.h"
#include "collector/access/Token.h"
#include "collector/storage/sqlite/Database.h"

namespace pelto::collector {

namespace {

/// Of a password that nobody has.
const std::string& hash_of_nobody() {
  static const std::string hash = hash_password("");
  return hash;
}

/// Hashed, so that sessions in memory do not hold what a password could be guessed by.
std::string stamp_of(Role role, const std::string& hash) {
  const TokenHash stamp = hash_token(std::string(name_of(role)) + " " + hash);
  return {stamp.begin(), stamp.end()};
}

bool has_another_admin(SQLite::Database& database, const std::string& name) {
  SQLite::Statement row(database, "SELECT 1 FROM account WHERE role = ?1 AND name <> ?2");
  row.bind(1, std::string(name_of(Role::admin)));
  row.bind(2, name);
  return row.executeStep();
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

bool Accounts::add_first(const Account& account, std::string_view password) {
  const std::string hash = hash_password(password);
  return run([&](SQLite::Database& database) {
    SQLite::Statement insert(
        database, "INSERT INTO account SELECT ?1, ?2, ?3 WHERE NOT EXISTS (SELECT 1 FROM account)");
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

std::optional<KnownAccount> Accounts::find(const std::string& name, std::string_view password) {
  const std::optional<Row> found = read(name);
  // Without the lock: it takes long, and other threads may ask meanwhile.
  const bool is_right = is_password_right(password, found ? found->hash : hash_of_nobody());
  if (!is_right || !found) return std::nullopt;
  return KnownAccount{{name, found->role}, stamp_of(found->role, found->hash)};
}

std::optional<KnownAccount> Accounts::find(const std::string& name) {
  const std::optional<Row> found = read(name);
  if (!found) return std::nullopt;
  return KnownAccount{{name, found->role}, stamp_of(found->role, found->hash)};
}

std::optional<Accounts::Row> Accounts::read(const std::string& name) {
  return run([&](SQLite::Database& database) -> std::optional<Row> {
    SQLite::Statement row(database, "SELECT role, password FROM account WHERE name = ?");
    row.bind(1, name);
    if (!row.executeStep()) return std::nullopt;
    const auto role = find_role(row.getColumn(0).getString());
    if (!role) return std::nullopt;
    return Row{*role, row.getColumn(1).getString()};
  });
}

/// Runs a change after which the account has this role, or is not there any more.
AccountChange Accounts::change(const char* sql, const std::string& name, Role role) {
  return run([&](SQLite::Database& database) {
    // Two administrators could remove each other at a time.
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    SQLite::Statement old(database, "SELECT role FROM account WHERE name = ?");
    old.bind(1, name);
    if (!old.executeStep()) return AccountChange::unknown;
    const bool was_admin = old.getColumn(0).getString() == name_of(Role::admin);
    if (was_admin && role != Role::admin && !has_another_admin(database, name)) {
      return AccountChange::last_admin;
    }
    old.reset();
    SQLite::Statement statement(database, sql);
    statement.bind(":name", name);
    if (statement.getIndex(":role") > 0) statement.bind(":role", std::string(name_of(role)));
    statement.exec();
    transaction.commit();
    return AccountChange::done;
  });
}

AccountChange Accounts::remove_if_dispensable(const std::string& name) {
  return change("DELETE FROM account WHERE name = :name", name, Role::viewer);
}

AccountChange Accounts::set_role(const std::string& name, Role role) {
  return change("UPDATE account SET role = :role WHERE name = :name", name, role);
}

bool Accounts::is_empty() {
  return run([](SQLite::Database& database) {
    return database.execAndGet("SELECT count(*) FROM account").getInt() == 0;
  });
}

}  // namespace pelto::collector
