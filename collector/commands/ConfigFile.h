// The file of `--config`: options of the command line under their names, in TOML or INI.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <istream>
#include <string>
#include <vector>

namespace pelto::collector {

/// Reads such a file for the command that the command line of `app` names: options that only other
/// commands have are left out. Throws `CommandError` for a name that is no command's option, and
/// for a section.
class ConfigFormat : public CLI::ConfigTOML {
 public:
  /// `app` must live as long as this.
  explicit ConfigFormat(const CLI::App& app) : app_(app) {}

  std::vector<CLI::ConfigItem> from_config(std::istream& input) const override;

 private:
  const CLI::App& app_;
};

/// What is wrong with the values in the file at `path`, for any command, a line each. Throws as
/// `ConfigFormat` does.
std::vector<std::string> find_config_problems(const std::string& path);

}  // namespace pelto::collector
