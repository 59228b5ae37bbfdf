#include <CLI/CLI.hpp>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "collector/access/SignedErasure.h"
#include "collector/commands/CommandLine.h"
#include "collector/commands/DataFolder.h"
#include "collector/storage/sqlite/SqliteStorage.h"

namespace pelto::collector {

namespace {

struct Options {
  DataOptions data;
  std::optional<std::string> installation;
  std::optional<std::string> email;
  std::optional<std::string> receipt;
  std::optional<std::filesystem::path> backup;
};

std::string read_all(const std::string& file) {
  if (file == "-") return {std::istreambuf_iterator<char>(std::cin), {}};
  std::ifstream input(file, std::ios::binary);
  if (!input) throw CommandError("cannot read " + file + "; name the file that has the receipt");
  return {std::istreambuf_iterator<char>(input), {}};
}

int verify(Storage& storage, const std::string& file) {
  if (!is_receipt_valid(read_all(file), receipt_keys(storage))) {
    std::cout << "not valid\n";
    throw CommandError("this receipt was not made here, or was changed; ask for the original");
  }
  std::cout << "valid\n";
  return 0;
}

std::unique_ptr<Storage> open_backup(const std::filesystem::path& file) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(file, ignored)) {
    throw CommandError("there is no file " + file.string() + "; name an existing backup");
  }
  return open_sqlite_storage(file);
}

int run(const Options& options) {
  const auto storage = open_storage(options.data);
  if (options.receipt) return verify(*storage, *options.receipt);

  const auto backup = options.backup ? open_backup(*options.backup) : nullptr;
  Storage& target = backup ? *backup : *storage;
  // The folder's keys sign for its backups, too, so that it can verify all receipts. Without them
  // nothing is erased: there would be no receipt, and another try would find nothing.
  const ReceiptKeys keys = receipt_keys(*storage);
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  const SignedErasure done =
      erase(target, keys, {options.installation, options.email}, now, to_the_end);
  // It is flushed first: the erasure cannot be repeated if something fails after it.
  std::cout << done.receipt << std::endl;
  note_command(options.data, Action::erase, done.description + (backup ? ", from a backup" : ""));
  if (!done.erased.traces_left.empty()) throw CommandError(done.erased.traces_left);
  return 0;
}

}  // namespace

void add_erase_command(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command =
      app.add_subcommand("erase", "Erase an installation or a person, and print a receipt");
  add_data_option(*command, options->data);
  CLI::Option_group* const subject = command->add_option_group("What to erase or verify");
  subject->add_option("--installation", options->installation, "This installation")
      ->type_name("ID");
  subject->add_option("--email", options->email, "Every installation with this e-mail address")
      ->type_name("ADDRESS");
  CLI::Option* const receipt =
      subject
          ->add_option("--verify", options->receipt,
                       "Nothing; say whether the receipt in this file is valid (-: standard input)")
          ->type_name("FILE");
  subject->require_option(1);
  command->add_option("--backup", options->backup, "Erase from this backup, not from the folder")
      ->type_name("FILE")
      ->excludes(receipt);
  command->callback([&chosen, options] { chosen = [options] { return run(*options); }; });
}

}  // namespace pelto::collector
