#include "collector/figures/Figures.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>
#include <utility>
#include <vector>

#include "collector/figures/Answer.h"
#include "collector/figures/Tables.h"
#include "collector/figures/Threshold.h"
#include "collector/report/Calendar.h"

namespace pelto::collector {

namespace {

constexpr char only_product[] = "default";
constexpr std::string_view intake_name = "intake";
constexpr std::array<std::string_view, 6> figure_names{"overview", "commands", "file-types",
                                                       "versions", "machines", intake_name};

// What a time can be written as lies between these.
constexpr Day first_day{std::chrono::year{0} / std::chrono::January / 1};
constexpr Day last_day{std::chrono::year{9999} / std::chrono::December / 31};

template <typename Names>
std::string joined(const Names& names) {
  std::string text;
  for (const auto& name : names) {
    if (!text.empty()) text += ", ";
    text += name;
  }
  return text;
}

void require_figure(const std::string& name) {
  if (std::ranges::find(figure_names, name) != figure_names.end()) return;
  throw FigureError(FigureError::Kind::not_found,
                    "there is no such figure; use one of: " + joined(figure_names));
}

std::optional<Period> period_of_day(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  const auto day = parse_day(*text);
  if (day) return period_of(*day);
  throw FigureError(FigureError::Kind::bad_request, "a day has the form 2026-01-05");
}

Period current_period() {
  return period_of(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
}

/// The periods of the answer, first and last.
std::pair<Period, Period> range_of(Storage& storage, const std::string& product,
                                   const FigureQuery& query) {
  const auto asked_from = period_of_day(query.from);
  const auto asked_to = period_of_day(query.to);
  if (asked_from && asked_to) {
    // By day, not by period: two days of one period can be in the wrong order, too.
    if (*parse_day(*query.from) <= *parse_day(*query.to)) return {*asked_from, *asked_to};
    throw FigureError(FigureError::Kind::bad_request, "the range's first day is after its last");
  }
  const Period now = current_period();
  auto [from, to] = storage.periods(product).value_or(std::pair{now, now});
  if (query.name == intake_name) {
    // Deliveries are refused, too, when none was kept yet, or none for long.
    from = std::min(from, now);
    to = std::max(to, now);
  }
  if (asked_from) return {*asked_from, std::max(*asked_from, to)};
  if (asked_to) return {std::min(from, *asked_to), *asked_to};
  return {from, to};
}

int threshold_of(Storage& storage, const FigureQuery& query) {
  if (!query.threshold) return storage.threshold();
  if (*query.threshold >= 1) return *query.threshold;
  throw FigureError(FigureError::Kind::bad_request, "the threshold is at least 1");
}

/// The counts' table; the answer gets their number of installations.
template <typename Row, typename MakeTable>
void fill(Answer& answer, const Selection& selection, Counts<Row> counts, MakeTable make_table) {
  const bool is_shown = may_be_shown(counts.installations, answer.threshold);
  if (is_shown) answer.installations = counts.installations.installations;
  answer.table = make_table(std::move(counts.rows), {answer.threshold, answer.installations,
                                                     selection.from == selection.to});
}

void fill_intake(Answer& answer, Selection selection, const FigureQuery& query, Storage& storage) {
  fill(answer, selection, storage.count_periods(selection), overview_table);
  // A side on which no day was named is open, so that every delivery is counted.
  if (!query.from) selection.from = period_of(first_day);
  if (!query.to) selection.to = period_of(last_day);
  answer.table = intake_table(storage.count_intake(selection));
}

Answer answer_to(Storage& storage, const FigureQuery& query) {
  require_figure(query.name);
  Selection selection{find_product(storage, query.product), query.version};
  std::tie(selection.from, selection.to) = range_of(storage, selection.product, query);

  Answer answer;
  answer.product = selection.product;
  answer.version = selection.version;
  answer.from = first_day_of(selection.from);
  answer.to = last_day_of(selection.to);
  answer.threshold = threshold_of(storage, query);
  if (query.name == "overview") {
    fill(answer, selection, storage.count_periods(selection), overview_table);
  } else if (query.name == "commands") {
    fill(answer, selection, storage.count_commands(selection), commands_table);
  } else if (query.name == "file-types") {
    fill(answer, selection, storage.count_file_types(selection), file_types_table);
  } else if (query.name == "versions") {
    fill(answer, selection, storage.count_versions(selection), versions_table);
  } else if (query.name == "machines") {
    fill(answer, selection, storage.count_machines(selection), machines_table);
  } else {
    fill_intake(answer, selection, query, storage);
  }
  return answer;
}

}  // namespace

std::string find_product(Storage& storage, const std::optional<std::string>& name) {
  const std::vector<std::string> products = storage.products();
  if (name) {
    if (std::ranges::find(products, *name) != products.end()) return *name;
    throw FigureError(FigureError::Kind::not_found,
                      products.empty()
                          ? "there is no such product; nothing has been received yet"
                          : "there is no such product; use one of: " + joined(products));
  }
  if (products.size() > 1) {
    throw FigureError(FigureError::Kind::bad_request,
                      "there are several products; name one of: " + joined(products));
  }
  return products.empty() ? only_product : products.front();
}

std::string figure_as_json(Storage& storage, const FigureQuery& query) {
  return answer_as_json(answer_to(storage, query));
}

std::string figure_as_csv(Storage& storage, const FigureQuery& query) {
  return table_as_csv(answer_to(storage, query).table);
}

}  // namespace pelto::collector
