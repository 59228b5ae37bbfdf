#include "collector/commands/ImportLine.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "collector/commands/ProductName.h"
#include "collector/intake/Intake.h"
#include "collector/intake/Refusal.h"
#include "collector/report/Guid.h"
#include "collector/report/MachineClass.h"

namespace pelto::collector {

namespace {

using nlohmann::json;

/// An entry of a list is the deepest: line, list, entry.
constexpr int deepest_level = 3;

/// Of numbers, texts, lists and objects. A hundred thousand commands have four hundred thousand;
/// reading this many takes about 100 MiB.
constexpr int most_values = 1'000'000;

/// In bytes. As a request is limited by default.
constexpr std::size_t longest_text = std::size_t{4} * 1024 * 1024;

class WrongForm : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class TooLarge : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Goes through a line without keeping anything of it. The library's own filter, which is called
/// while it reads, takes a time that grows with the square of a list's length.
class LimitCheck : public nlohmann::json_sax<json> {
 public:
  bool null() override { return count(); }
  bool boolean(bool) override { return count(); }
  bool number_integer(number_integer_t) override { return count(); }
  bool number_unsigned(number_unsigned_t) override { return count(); }
  bool number_float(number_float_t, const string_t&) override { return count(); }
  bool string(string_t&) override { return count(); }
  bool binary(binary_t&) override { return count(); }
  bool start_object(std::size_t) override { return begin(); }
  bool key(string_t&) override { return true; }
  bool end_object() override { return end(); }
  bool start_array(std::size_t) override { return begin(); }
  bool end_array() override { return end(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
    return false;
  }

 private:
  bool count() {
    if (++values_ > most_values) throw TooLarge("too many values");
    return true;
  }
  bool begin() {
    if (++depth_ > deepest_level) throw WrongForm("nested too deeply");
    return count();
  }
  bool end() {
    --depth_;
    return true;
  }

  int values_ = 0;
  int depth_ = 0;
};

/// Throws `WrongForm` and `TooLarge`.
json parse(std::string_view line) {
  LimitCheck check;
  if (!json::sax_parse(line, &check)) throw WrongForm("no JSON");
  json parsed = json::parse(line, nullptr, false);
  if (!parsed.is_object()) throw WrongForm("no object");
  return parsed;
}

/// The text of a member, empty if it is missing. Throws `WrongForm` for any other type.
std::string text_of(const json& object, const char* name) {
  const auto member = object.find(name);
  if (member == object.end()) return "";
  if (!member->is_string()) throw WrongForm(name);
  return member->get<std::string>();
}

/// The whole number of a member, 0 if it is missing. Throws `WrongForm` for any other type.
std::int64_t number_of(const json& object, const char* name) {
  const auto member = object.find(name);
  if (member == object.end()) return 0;
  if (!member->is_number_integer()) throw WrongForm(name);
  // One that does not fit is cut to the largest count in any case.
  if (member->is_number_unsigned() && member->get<std::uint64_t>() > largest_count) {
    return largest_count + 1;
  }
  return member->get<std::int64_t>();
}

/// Calls `take` with each object of a member's list; with none if it is missing. Throws `WrongForm`
/// for any other type.
template <typename Take>
void for_each_entry(const json& object, const char* name, Take take) {
  const auto member = object.find(name);
  if (member == object.end()) return;
  if (!member->is_array()) throw WrongForm(name);
  for (const json& entry : *member) {
    if (!entry.is_object()) throw WrongForm(name);
    take(entry);
  }
}

Report read_counts(const json& line) {
  Report report;
  report.installation = text_of(line, "installation");
  report.application = text_of(line, "application");
  report.version = text_of(line, "version");
  for (std::string* const name : {&report.application, &report.version}) {
    if (name->size() <= longest_name) continue;
    name->clear();
    report.is_capped = true;
  }
  for_each_entry(line, "commands", [&](const json& entry) {
    report.commands.push_back(
        {text_of(entry, "name"), number_of(entry, "uses"), number_of(entry, "order")});
  });
  for_each_entry(line, "file_types", [&](const json& entry) {
    report.file_types.push_back(
        {text_of(entry, "name"), number_of(entry, "opened"), number_of(entry, "saved")});
  });
  for_each_entry(line, "machine", [&](const json& entry) {
    MachineValue property{text_of(entry, "category"), text_of(entry, "name"),
                          text_of(entry, "value")};
    if (machine_class(property)) report.machine.push_back(std::move(property));
  });
  normalize(report);
  return report;
}

std::variant<Report, Refusal> read_report(const json& line, const IntakeOptions& options) {
  if (line.contains("report")) {
    const std::string text = text_of(line, "report");
    if (text.empty()) return Refusal::empty_report;
    if (text.size() > longest_text) return Refusal::too_large;
    return read_report_text(text, options);
  }
  Report report = read_counts(line);
  const std::size_t length = report.installation.size();
  if (length == 0 || length > longest_installation) return Refusal::no_installation;
  return report;
}

}  // namespace

std::variant<Delivery, BadLine> read_import_line(std::string_view line,
                                                 const IntakeOptions& options) {
  try {
    const json parsed = parse(line);
    const auto received = parse_time(text_of(parsed, "received"));
    const std::string product = text_of(parsed, "product");
    if (!received || !is_product_name(product)) return BadLine{bad_line_code};
    const auto refuse = [&](Refusal refusal) {
      return BadLine{std::string(code_of(refusal)), product, *received};
    };
    const std::string id = text_of(parsed, "id");
    if (id.empty()) return refuse(Refusal::no_id);
    const auto guid = normalize_guid(id);
    if (!guid) return refuse(Refusal::bad_id);
    auto report = read_report(parsed, options);
    if (const auto* const refusal = std::get_if<Refusal>(&report)) return refuse(*refusal);
    return Delivery{product, *guid, *received, std::move(std::get<Report>(report))};
  } catch (const WrongForm&) {
    return BadLine{bad_line_code};
  } catch (const TooLarge&) {
    return BadLine{std::string(code_of(Refusal::too_large))};
  }
}

}  // namespace pelto::collector
