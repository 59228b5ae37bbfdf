// The command line: one program, a command for each task.
//
// A file of its own defines each command, and adds it to the program with a function of the form
// `add_NAME_command`:
//
//   void add_example_command(CLI::App& app, Command& chosen) {
//     struct Options {
//       DataOptions data;
//       std::string name;
//     };
//     const auto options = std::make_shared<Options>();
//     CLI::App* const command = app.add_subcommand("example", "What it does, in a few words");
//     add_data_option(*command, options->data);
//     command->add_option("--name", options->name, "What it is for");
//     command->callback([&chosen, options] { chosen = [options] { return run(*options); }; });
//   }
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

namespace pelto::collector {

/// What a command does after the command line has been read. Returns the exit status: 0, or 1 after
/// it has said on standard error what is wrong. It can throw `CommandError`, `StorageError` and
/// `FigureError` in place of that.
using Command = std::function<int()>;

/// A command that cannot be carried out. The text is one line that says what to do; it goes to
/// standard error, and the exit status is 1.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Runs the program with the arguments of `main`. Returns the exit status: 0, or 1 after one line
/// on standard error that says what to do. A wrong command line is such an error, too. Does not
/// throw.
///
/// Each option can also come from the file of `--config FILE`, in TOML or INI, under its own name
/// without the hyphens; the command line is stronger. The file is one for all commands: a command
/// takes the options that it has.
int run_command_line(int argc, const char* const* argv) noexcept;

/// Adds all commands to `app`, as those below do.
void add_commands(CLI::App& app, Command& chosen);

// Each of these adds its command to `app`. If the command line names the command, it puts into
// `chosen` what is to be done; nothing is done before the whole command line has been read.
void add_serve_command(CLI::App& app, Command& chosen);
void add_figures_command(CLI::App& app, Command& chosen);
void add_import_command(CLI::App& app, Command& chosen);
void add_export_command(CLI::App& app, Command& chosen);
void add_erase_command(CLI::App& app, Command& chosen);
void add_user_command(CLI::App& app, Command& chosen);
void add_backup_command(CLI::App& app, Command& chosen);
void add_check_command(CLI::App& app, Command& chosen);
void add_fleet_command(CLI::App& app, Command& chosen);

}  // namespace pelto::collector
