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

/// Whether an account may get this role, or be removed, which is judged like a role without rights.
/// In the transaction of the change: two administrators could remove each other at a time.
AccountChange judge_change(SQLite::Database& database, const std::string& name, Role role) {
  SQLite::Statement old(database, "SELECT role FROM account WHERE name = ?");
  old.bind(1, name);
  if (!old.executeStep()) return AccountChange::unknown;
  const bool was_admin = old.getColumn(0).getString() == name_of(Role::admin);
  if (was_admin && role != Role::admin && !has_another_admin(database, name)) {
    return AccountChange::last_admin;
  }
  return AccountChange::done;
}

bool remove_account(SQLite::Database& database, const std::string& name) {
  SQLite::Statement removal(database, "DELETE FROM account WHERE name = ?");
  removal.bind(1, name);
  return removal.exec() == 1;
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

/// Makes a change and its entry in the audit in one transaction. `make` gets the database, and
/// returns whether there is something to note.
template <typename Make>
bool Accounts::change(const Actor& by, Action action, const std::string& detail, Make make) {
  return run([&](SQLite::Database& database) {
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    if (!make(database)) return false;
    add_entry(database, by, action, detail);
    transaction.commit();
    return true;
  });
}

bool Accounts::add(const Account& account, std::string_view password, const Actor& by) {
  const std::string hash = hash_password(password);
  const std::string role(name_of(account.role));
  return change(by, Action::user_add, account.name + ": " + role, [&](SQLite::Database& database) {
    SQLite::Statement insert(database, "INSERT OR IGNORE INTO account VALUES (?, ?, ?)");
    insert.bind(1, account.name);
    insert.bind(2, role);
    insert.bind(3, hash);
    return insert.exec() == 1;
  });
}

bool Accounts::add_first(const Account& account, std::string_view password, Time at) {
  const std::string hash = hash_password(password);
  return change({at, account.name}, Action::setup, {}, [&](SQLite::Database& database) {
    SQLite::Statement insert(
        database, "INSERT INTO account SELECT ?1, ?2, ?3 WHERE NOT EXISTS (SELECT 1 FROM account)");
    insert.bind(1, account.name);
    insert.bind(2, std::string(name_of(account.role)));
    insert.bind(3, hash);
    return insert.exec() == 1;
  });
}

bool Accounts::set_password(const std::string& name, std::string_view password, const Actor& by) {
  const std::string hash = hash_password(password);
  return change(by, Action::user_change, name + ": password", [&](SQLite::Database& database) {
    SQLite::Statement update(database, "UPDATE account SET password = ? WHERE name = ?");
    update.bind(1, hash);
    update.bind(2, name);
    return update.exec() == 1;
  });
}

bool Accounts::remove(const std::string& name, const Actor& by) {
  return change(by, Action::user_remove, name,
                [&](SQLite::Database& database) { return remove_account(database, name); });
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

AccountChange Accounts::remove_if_dispensable(const std::string& name, const Actor& by) {
  AccountChange verdict = AccountChange::unknown;
  change(by, Action::user_remove, name, [&](SQLite::Database& database) {
    verdict = judge_change(database, name, Role::viewer);
    return verdict == AccountChange::done && remove_account(database, name);
  });
  return verdict;
}

AccountChange Accounts::set_role(const std::string& name, Role role, const Actor& by) {
  AccountChange verdict = AccountChange::unknown;
  const std::string role_name(name_of(role));
  change(by, Action::user_change, name + ": " + role_name, [&](SQLite::Database& database) {
    verdict = judge_change(database, name, role);
    if (verdict != AccountChange::done) return false;
    SQLite::Statement update(database, "UPDATE account SET role = ? WHERE name = ?");
    update.bind(1, role_name);
    update.bind(2, name);
    return update.exec() == 1;
  });
  return verdict;
}

bool Accounts::is_empty() {
  return run([](SQLite::Database& database) {
    return database.execAndGet("SELECT count(*) FROM account").getInt() == 0;
  });
}

}  // namespace pelto::collector
