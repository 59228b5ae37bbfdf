#include "collector/commands/DataFolder.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>
#include <utility>

#include "collector/commands/CommandLine.h"
#include "collector/storage/sqlite/SqliteStorage.h"

namespace pelto::collector {

namespace {

constexpr char adapter_secret[] = "adapter";

/// For the owner alone: reports are in it. Folders above it get the usual mode.
void make_folder(const std::filesystem::path& folder) {
  std::error_code error;
  if (folder.has_parent_path()) std::filesystem::create_directories(folder.parent_path(), error);
  if (::mkdir(folder.c_str(), 0700) == 0) return;
  const int reason = errno;
  if (reason == EEXIST && std::filesystem::is_directory(folder, error)) return;
  throw CommandError("cannot make the data folder " + folder.string() + ": " +
                     std::strerror(reason) + "; name another one with --data");
}

}  // namespace

void add_data_option(CLI::App& command, DataOptions& options) {
  command.add_option("--data", options.folder, "The data folder; it is made if it is missing")
      ->type_name("DIR");
}

void add_keeping_options(CLI::App& command, KeepingOptions& options) {
  command.add_flag_callback(
      "--no-email", [&options] { options.keeps_email = false; }, "Keep no e-mail addresses");
  command.add_flag("--adapter-hash", options.keeps_adapter,
                   "Keep a keyed hash of the network adapter's address");
}

std::filesystem::path use_data_folder(const DataOptions& options) {
  if (options.folder.empty()) {
    throw CommandError("name the data folder with --data DIR, or as data in the file of --config");
  }
  // Without a separator at its end the last name is that of the folder.
  auto folder = options.folder.lexically_normal();
  if (!folder.has_filename()) folder = folder.parent_path();
  make_folder(folder);
  return folder;
}

std::filesystem::path storage_file(const DataOptions& options) {
  return use_data_folder(options) / sqlite_file_name;
}

std::unique_ptr<Storage> open_storage(const DataOptions& data, const KeepingOptions& keeping,
                                      std::function<void(const std::string&)> on_damage) {
  return open_sqlite_storage(
      storage_file(data), {.keeps_email = keeping.keeps_email, .on_damage = std::move(on_damage)});
}

Actor command_actor() {
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  return {now, command_line_user};
}

void note_command(const DataOptions& data, Action action, const std::string& detail) {
  const Actor actor = command_actor();
  Audit(storage_file(data)).add(actor.at, actor.user, action, detail);
}

std::string adapter_key(Storage& storage, const KeepingOptions& keeping) {
  return keeping.keeps_adapter ? storage.secret(adapter_secret) : std::string();
}

}  // namespace pelto::collector
