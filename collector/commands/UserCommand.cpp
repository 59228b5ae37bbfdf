#include <CLI/CLI.hpp>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>

#include "collector/access/Accounts.h"
#include "collector/access/Password.h"
#include "collector/commands/CommandLine.h"
#include "collector/commands/DataFolder.h"

namespace pelto::collector {

namespace {

struct Options {
  DataOptions data;
  std::string name;
  std::string role;
  bool reads_password = false;
};

using OptionsPointer = std::shared_ptr<Options>;

Accounts open_accounts(const Options& options) {
  return Accounts(storage_file(options.data));
}

/// Standard input without the line end that a shell's echo adds.
std::string read_password() {
  std::string password(std::istreambuf_iterator<char>(std::cin), {});
  if (password.ends_with('\n')) password.pop_back();
  if (password.ends_with('\r')) password.pop_back();
  if (!is_acceptable_password(password)) {
    throw CommandError("the password is too short; it needs at least " +
                       std::to_string(shortest_password) + " characters");
  }
  return password;
}

[[noreturn]] void throw_unknown(const std::string& name) {
  throw CommandError("there is no account " + name + "; see user list");
}

int add(const Options& options) {
  if (!is_account_name(options.name)) {
    throw CommandError("an account's name has 1 to 64 visible ASCII characters and no space");
  }
  const auto role = find_role(options.role);
  if (!role) throw CommandError("the role is one of viewer, contacts and admin");
  if (!open_accounts(options).add({options.name, *role}, read_password(), command_actor())) {
    throw CommandError("the account " + options.name +
                       " exists already; change its password with user password");
  }
  return 0;
}

int change_password(const Options& options) {
  if (!open_accounts(options).set_password(options.name, read_password(), command_actor())) {
    throw_unknown(options.name);
  }
  return 0;
}

int remove(const Options& options) {
  if (!open_accounts(options).remove(options.name, command_actor())) throw_unknown(options.name);
  return 0;
}

int list(const Options& options) {
  for (const Account& account : open_accounts(options).list()) {
    std::cout << account.name << ' ' << name_of(account.role) << '\n';
  }
  return 0;
}

/// Adds a command that runs `run`, and `--data`.
CLI::App* add_action(CLI::App& user, Command& chosen, const OptionsPointer& options,
                     const char* name, const char* description, int (*run)(const Options&)) {
  CLI::App* const action = user.add_subcommand(name, description);
  add_data_option(*action, options->data);
  action->callback([&chosen, options, run] { chosen = [options, run] { return run(*options); }; });
  return action;
}

void add_name(CLI::App& action, Options& options) {
  action.add_option("name", options.name, "The account's name")->required();
}

/// A password on the command line could be seen by others, so there is one way only.
void add_password(CLI::App& action, Options& options) {
  action
      .add_flag("--password-stdin", options.reads_password, "Read the password from standard input")
      ->required();
}

}  // namespace

void add_user_command(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<Options>();
  CLI::App* const user = app.add_subcommand("user", "Manage who may see the pages");
  user->require_subcommand(1);
  CLI::App* const addition = add_action(*user, chosen, options, "add", "Add an account", add);
  add_name(*addition, *options);
  addition->add_option("--role", options->role, "viewer, contacts or admin")->required();
  add_password(*addition, *options);
  CLI::App* const change = add_action(*user, chosen, options, "password",
                                      "Give an account another password", change_password);
  add_name(*change, *options);
  add_password(*change, *options);
  add_name(*add_action(*user, chosen, options, "remove", "Remove an account", remove), *options);
  add_action(*user, chosen, options, "list", "Print the accounts with their roles", list);
}

}  // namespace pelto::collector
