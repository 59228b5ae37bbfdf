#include "collector/access/Audit.h"

#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

#include "collector/storage/sqlite/Database.h"

namespace pelto::collector {

namespace {

bool is_about_log_in(Action action) {
  return action == Action::log_in || action == Action::log_in_failed || action == Action::log_out;
}

void remove_old(SQLite::Database& database, Time now) {
  SQLite::Statement old(database,
                        "DELETE FROM audit WHERE action IN ('log-in', 'log-in-failed', 'log-out') "
                        "AND at < ?1");
  old.bind(1, (now - Audit::keeps_log_ins).time_since_epoch().count());
  old.exec();
  SQLite::Statement surplus(database,
                            "DELETE FROM audit WHERE number IN (SELECT number FROM audit WHERE "
                            "action = 'log-in-failed' ORDER BY at DESC, number DESC "
                            "LIMIT -1 OFFSET ?1)");
  surplus.bind(1, Audit::most_failed_log_ins);
  surplus.exec();
}

}  // namespace

std::string_view name_of(Action action) {
  switch (action) {
    case Action::log_in:
      return "log-in";
    case Action::log_in_failed:
      return "log-in-failed";
    case Action::log_out:
      return "log-out";
    case Action::erase:
      return "erase";
    case Action::export_data:
      return "export";
    case Action::user_add:
      return "user-add";
    case Action::user_change:
      return "user-change";
    case Action::user_remove:
      return "user-remove";
    case Action::setup:
      return "setup";
  }
  return "";
}

std::string describe_export(bool is_of_one_installation) {
  return is_of_one_installation ? "one installation" : "everything";
}

void add_entry(SQLite::Database& database, const Actor& actor, Action action,
               const std::string& detail) {
  SQLite::Statement insert(database,
                           "INSERT INTO audit(at, user, action, detail) VALUES (?1, ?2, ?3, ?4)");
  insert.bind(1, actor.at.time_since_epoch().count());
  insert.bind(2, actor.user);
  insert.bind(3, std::string(name_of(action)));
  insert.bind(4, detail);
  insert.exec();
  if (is_about_log_in(action)) remove_old(database, actor.at);
}

Audit::Audit(const std::filesystem::path& file) : file_(file), database_(open_database(file)) {}

void Audit::add(Time at, const std::string& user, Action action, const std::string& detail) {
  const std::scoped_lock lock(mutex_);
  try {
    SQLite::Transaction transaction(database_, SQLite::TransactionBehavior::IMMEDIATE);
    add_entry(database_, {at, user}, action, detail);
    transaction.commit();
  } catch (const SQLite::Exception& error) {
    throw storage_error(file_, error);
  }
}

std::vector<AuditEntry> Audit::list(std::optional<std::int64_t> before, int limit) {
  const std::scoped_lock lock(mutex_);
  try {
    SQLite::Statement row(database_,
                          "SELECT number, at, user, action, detail FROM audit WHERE number < ?1 "
                          "ORDER BY number DESC LIMIT ?2");
    row.bind(1, before.value_or(INT64_MAX));
    row.bind(2, limit);
    std::vector<AuditEntry> entries;
    while (row.executeStep()) {
      entries.push_back({row.getColumn(0).getInt64(),
                         Time{std::chrono::seconds{row.getColumn(1).getInt64()}},
                         row.getColumn(2).getString(), row.getColumn(3).getString(),
                         row.getColumn(4).getString()});
    }
    return entries;
  } catch (const SQLite::Exception& error) {
    throw storage_error(file_, error);
  }
}

}  // namespace pelto::collector
