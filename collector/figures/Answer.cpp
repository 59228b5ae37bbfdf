#include "collector/figures/Answer.h"

#include <cstddef>
#include <nlohmann/json.hpp>

namespace pelto::collector {

namespace {

using nlohmann::ordered_json;

constexpr std::int64_t whole_share = 10'000;

double number_of(const Share& share) {
  return static_cast<double>(share.ten_thousandths) / static_cast<double>(whole_share);
}

ordered_json as_json(const Cell& cell) {
  struct Visitor {
    ordered_json operator()(std::monostate) const { return nullptr; }
    ordered_json operator()(std::int64_t number) const { return number; }
    ordered_json operator()(const Share& share) const { return number_of(share); }
    ordered_json operator()(const std::string& text) const { return text; }
    ordered_json operator()(const CodeCounts& counts) const {
      ordered_json object = ordered_json::object();
      for (const auto& [code, number] : counts) object[code] = number;
      return object;
    }
  };
  return std::visit(Visitor{}, cell);
}

std::string quoted_if_needed(const std::string& field) {
  if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
  std::string quoted = "\"";
  for (const char c : field) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

std::string text_as_csv(const std::string& text) {
  const bool is_like_formula =
      !text.empty() && std::string_view("=+-@\t").find(text.front()) != std::string_view::npos;
  return quoted_if_needed(is_like_formula ? "'" + text : text);
}

std::string as_csv(const Cell& cell) {
  struct Visitor {
    std::string operator()(std::monostate) const { return ""; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(const Share& share) const {
      return ordered_json(number_of(share)).dump();
    }
    std::string operator()(const std::string& text) const { return text_as_csv(text); }
    std::string operator()(const CodeCounts& counts) const {
      std::string text;
      for (const auto& [code, number] : counts) {
        if (!text.empty()) text += ' ';
        text += code + "=" + std::to_string(number);
      }
      return text_as_csv(text);
    }
  };
  return std::visit(Visitor{}, cell);
}

}  // namespace

Share share_of(std::int64_t part, std::int64_t total) {
  return {(2 * part * whole_share + total) / (2 * total)};
}

std::string answer_as_json(const Answer& answer) {
  ordered_json json;
  json["product"] = answer.product;
  json["version"] = answer.version ? ordered_json(*answer.version) : ordered_json(nullptr);
  json["from"] = format_day(answer.from);
  json["to"] = format_day(answer.to);
  json["threshold"] = answer.threshold;
  json["installations"] =
      answer.installations ? ordered_json(*answer.installations) : ordered_json(nullptr);
  json["rows"] = ordered_json::array();
  const Table& table = answer.table;
  for (const std::vector<Cell>& row : table.rows) {
    ordered_json object = ordered_json::object();
    for (std::size_t i = 0; i < row.size(); ++i) {
      object[std::string(table.columns[i])] = as_json(row[i]);
    }
    json["rows"].push_back(std::move(object));
  }
  json["withheld"] = {{"rows", table.withheld}};
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::string table_as_csv(const Table& table) {
  std::string csv;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    if (i > 0) csv += ',';
    csv += table.columns[i];
  }
  csv += "\r\n";
  for (const std::vector<Cell>& row : table.rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (i > 0) csv += ',';
      csv += as_csv(row[i]);
    }
    csv += "\r\n";
  }
  return csv;
}

}  // namespace pelto::collector
