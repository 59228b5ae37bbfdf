// The data folder: the storage's file and everything else that is kept live there.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "collector/access/Audit.h"
#include "collector/storage/Storage.h"

namespace CLI {
class App;
}

namespace pelto::collector {

struct DataOptions {
  std::filesystem::path folder;
};

/// What is kept of a person's data, for the commands that take deliveries.
struct KeepingOptions {
  bool keeps_email = true;
  /// Whether the network adapter's address is kept, as a keyed hash.
  bool keeps_adapter = false;
};

/// Adds `--data DIR`.
void add_data_option(CLI::App& command, DataOptions& options);
/// Adds `--no-email` and `--adapter-hash`.
void add_keeping_options(CLI::App& command, KeepingOptions& options);

/// Makes the folder with mode 0700 if it is missing, its parents included. Returns its path. Throws
/// `CommandError` if no folder was named or it cannot be used.
std::filesystem::path use_data_folder(const DataOptions& options);

/// The storage's file in the data folder. Throws as `use_data_folder` does.
std::filesystem::path storage_file(const DataOptions& options);

/// Opens the storage in the data folder, which is made if it is missing. `on_damage` is called as
/// `SqliteOptions` says. Throws `CommandError` and `StorageError`.
std::unique_ptr<Storage> open_storage(const DataOptions& data, const KeepingOptions& keeping = {},
                                      std::function<void(const std::string&)> on_damage = {});

/// Who acts in a command, now.
Actor command_actor();

/// Notes in the audit what a command has done or is about to do. Throws as `open_storage` does.
void note_command(const DataOptions& data, Action action, const std::string& detail);

/// The key of the hash of network adapters' addresses; empty if they are not kept.
std::string adapter_key(Storage& storage, const KeepingOptions& keeping);

}  // namespace pelto::collector
