#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "collector/access/AccessControl.h"
#include "collector/commands/CommandLine.h"
#include "collector/commands/DataFolder.h"
#include "collector/commands/ProductName.h"
#include "collector/http/Address.h"
#include "collector/http/Endpoint.h"
#include "collector/http/LogWriter.h"
#include "collector/http/Routes.h"
#include "collector/intake/CodePage.h"
#include "collector/serve/FolderLock.h"
#include "collector/serve/Housekeeping.h"
#include "collector/serve/Server.h"

namespace pelto::collector {

namespace {

struct Options {
  DataOptions data;
  KeepingOptions keeping;
  ServeOptions serve;
  HousekeepingOptions housekeeping;
  TlsFiles tls;
  std::optional<int> threshold;
};

/// An option that is given several times, with one value each. What is given replaces the default.
CLI::Option* add_list(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                      const std::string& help) {
  return command.add_option(name, values, help)->expected(1)->take_all();
}

void add_endpoint(CLI::App& command, const std::string& name, Endpoint& endpoint,
                  const std::string& help) {
  const auto set = [&endpoint, name](const std::string& text) {
    const auto parsed = parse_endpoint(text);
    if (!parsed) throw CLI::ValidationError(name, text + " is not of the form HOST:PORT");
    endpoint = *parsed;
  };
  command.add_option_function<std::string>(name, set, help)
      ->type_name("HOST:PORT")
      ->default_str(format_endpoint(endpoint));
}

void add_milliseconds(CLI::App& command, const std::string& name, Deadlines::Duration& duration,
                      const std::string& help) {
  constexpr std::int64_t longest = std::int64_t{24} * 60 * 60 * 1000;
  const auto set = [&duration](std::int64_t count) { duration = Deadlines::Duration(count); };
  command.add_option_function<std::int64_t>(name, set, help)
      ->type_name("MS")
      ->check(CLI::Range(std::int64_t{1}, longest))
      ->default_str(std::to_string(duration.count()))
      ->group("Deadlines");
}

template <typename Set>
void add_days(CLI::App& command, const std::string& name, const std::string& help, Set set) {
  constexpr int most = 36'500;
  command
      .add_option_function<int>(
          name, [set](int count) { set(std::chrono::days(count)); }, help)
      ->type_name("DAYS")
      ->check(CLI::Range(1, most));
}

void add_listener_options(CLI::App& command, Options& options) {
  ServeOptions& serve = options.serve;
  add_endpoint(command, "--intake", serve.intake, "Where reports are taken");
  add_endpoint(command, "--pages", serve.pages, "Where the pages are shown");
  CLI::Option* const certificate = command.add_option("--tls-certificate", options.tls.certificate,
                                                      "Speak TLS, with this certificate (PEM)");
  CLI::Option* const key =
      command.add_option("--tls-key", options.tls.key, "The certificate's key (PEM)");
  certificate->type_name("FILE")->needs(key);
  key->type_name("FILE")->needs(certificate);
  add_list(command, "--product", serve.products, "A product whose reports are taken")
      ->type_name("NAME")
      ->check(CLI::Validator(
          [](const std::string& name) {
            return is_product_name(name) ? "" : "a product has 1 to 128 plain characters";
          },
          ""));
  add_list(command, "--path", serve.paths, "A path that takes reports")
      ->type_name("PATH")
      ->default_str(default_path)
      ->check(CLI::Validator(
          [](const std::string& path) {
            return is_intake_path(path) ? "" : path + " is not a path like " + default_path;
          },
          ""));
  const auto trust = [&serve](const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
      const auto address = parse_ip_address(text);
      if (!address) throw CLI::ValidationError("--trusted-proxy", text + " is not an address");
      serve.trusted_proxies.push_back(*address);
    }
  };
  command
      .add_option_function<std::vector<std::string>>(
          "--trusted-proxy", trust, "A proxy whose X-Forwarded-For names the client")
      ->type_name("ADDRESS")
      ->expected(1)
      ->take_all();
}

void add_limit_options(CLI::App& command, ServeOptions& serve) {
  constexpr std::size_t largest = std::size_t{1} << 40;
  const auto add = [&command](const std::string& name, std::size_t& value, std::size_t most,
                              const std::string& type, const std::string& help) {
    command.add_option(name, value, help)
        ->type_name(type)
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{1}, most))
        ->group("Limits");
  };
  add("--max-body", serve.max_body, std::size_t{1} << 30, "BYTES", "The largest request");
  add("--max-in-flight", serve.max_in_flight, largest, "BYTES", "All requests in memory together");
  add("--max-connections", serve.max_connections, 1'000'000, "N", "Open connections");
  command.add_option("--rate", serve.rate, "Deliveries a minute from one address; 0: any number")
      ->type_name("N")
      ->capture_default_str()
      ->check(CLI::Range(0, std::numeric_limits<int>::max()))
      ->group("Limits");
  Deadlines& deadlines = serve.deadlines;
  add_milliseconds(command, "--header-timeout", deadlines.header, "For a request's header");
  add_milliseconds(command, "--body-start", deadlines.body_start, "For a body of any rate");
  command.add_option("--body-rate", deadlines.body_rate, "From then on, on average")
      ->type_name("BYTES/S")
      ->capture_default_str()
      ->group("Deadlines");
  add_milliseconds(command, "--body-timeout", deadlines.body, "For a body in all");
  add_milliseconds(command, "--idle-timeout", deadlines.idle, "Between two requests");
  add_milliseconds(command, "--linger", deadlines.linger, "For what follows a refusal");
  add_milliseconds(command, "--stop-timeout", deadlines.stop, "For open requests at the end");
}

void add_report_options(CLI::App& command, Options& options) {
  add_keeping_options(command, options.keeping);
  command
      .add_option("--code-page", options.serve.intake_options.code_page,
                  "The code page of reports that do not tell theirs")
      ->type_name("N")
      ->check(CLI::Validator(
          [](const std::string& text) {
            int code_page = 0;
            const bool is_known =
                CLI::detail::lexical_cast(text, code_page) && is_code_page(code_page);
            return is_known ? "" : "the code page " + text + " is not known; name one like 1252";
          },
          ""))
      ->capture_default_str();
  command
      .add_option("--threshold", options.threshold,
                  "Show nothing that rests on fewer installations; stays until it is changed")
      ->type_name("K")
      ->check(CLI::Range(1, 1'000'000));
  HousekeepingOptions& housekeeping = options.housekeeping;
  add_days(command, "--retention", "Keep raw reports this long; 400 unless set",
           [&housekeeping](std::chrono::days days) { housekeeping.retention = days; });
  add_days(command, "--forget-silent", "Erase installations that have been silent this long",
           [&housekeeping](std::chrono::days days) { housekeeping.forget_silent = days; });
}

/// What no single option shows. Throws `CLI::ParseError`.
void check_together(const ServeOptions& serve) {
  if (serve.max_in_flight < serve.max_body) {
    throw CLI::RequiresError("--max-in-flight is less than --max-body; allow at least one request",
                             CLI::ExitCodes::RequiresError);
  }
}

ServeOptions complete(const Options& options) {
  ServeOptions serve = options.serve;
  if (!options.tls.certificate.empty()) serve.tls = options.tls;
  serve.keeping = {options.housekeeping.retention, options.housekeeping.forget_silent,
                   options.keeping.keeps_email, options.keeping.keeps_adapter};
  std::vector<std::string>& products = serve.products;
  std::sort(products.begin(), products.end());
  products.erase(std::unique(products.begin(), products.end()), products.end());
  return serve;
}

/// While there is no account, says where the first one can be made.
void offer_setup(const Server& server, const ServeOptions& serve, AccessControl& access) {
  if (!access.accounts.is_empty()) return;
  std::cerr << "There is no account yet. Make the first one, in a browser, with this link: "
            << (serve.tls ? "https://" : "http://") << format_endpoint(server.pages()) << "/setup#"
            << access.setup.open() << std::endl;
}

void say_where(const Server& server, const ServeOptions& serve) {
  const std::string scheme = serve.tls ? "https://" : "http://";
  std::cout << "intake " << scheme << format_endpoint(server.intake()) << serve.paths.front()
            << "\npages " << scheme << format_endpoint(server.pages()) << "/\nready" << std::endl;
}

int run(const Options& options) {
  ServeOptions serve = complete(options);
  const FolderLock lock(use_data_folder(options.data));
  LogWriter log(STDERR_FILENO);
  const std::unique_ptr<Storage> storage = open_storage(
      options.data, options.keeping, [&log](const std::string& damage) { log.message(damage); });
  if (options.threshold) storage->set_threshold(*options.threshold);
  serve.intake_options.adapter_key = adapter_key(*storage, options.keeping);

  AccessControl access(storage_file(options.data));
  Server server(serve, *storage, access, log);
  const Housekeeping housekeeping(options.housekeeping, *storage, log);
  offer_setup(server, serve, access);
  say_where(server, serve);
  server.run();
  return 0;
}

}  // namespace

void add_serve_command(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("serve", "Receive reports until SIGTERM");
  add_data_option(*command, options->data);
  add_listener_options(*command, *options);
  add_report_options(*command, *options);
  add_limit_options(*command, options->serve);
  command->callback([&chosen, options] {
    check_together(options->serve);
    chosen = [options] { return run(*options); };
  });
}

}  // namespace pelto::collector
