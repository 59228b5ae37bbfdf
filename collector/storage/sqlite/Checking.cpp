#include "collector/storage/sqlite/Checking.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "collector/report/RetryRule.h"
#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Folding.h"
#include "collector/storage/sqlite/Names.h"
#include "collector/storage/sqlite/ReportPacking.h"
#include "collector/storage/sqlite/TextPacking.h"

namespace pelto::collector {

namespace {

/// Enough to see what is wrong; a damaged file can have any number.
constexpr std::size_t most_findings = 100;

bool is_equal(const SumCell& left, const SumCell& right) {
  return left.reports == right.reports && left.first_sum == right.first_sum &&
         left.second_sum == right.second_sum && left.installations == right.installations &&
         left.first() == right.first() && left.second() == right.second() &&
         left.places == right.places;
}

class Checker {
 public:
  explicit Checker(Connection& connection)
      : connection_(connection),
        names_(connection),
        folded_(read_state(connection, "folded_report")) {}

  std::vector<std::string> run() {
    take_rows("PRAGMA integrity_check", "ok", "the file: ");
    // Without a sound file the rest finds the same again in other words.
    if (!findings_.empty()) return findings_;
    take_rows("PRAGMA foreign_key_check", "", "a row without what it refers to, in: ");
    check_chains();
    check_cells();
    check_intake();
    check_names();
    check_installations();
    return findings_;
  }

 private:
  void find(const std::string& finding) {
    if (findings_.size() < most_findings) findings_.push_back(finding);
  }

  void take_rows(const char* sql, const std::string& fine, const char* text) {
    Query row = connection_.query(sql);
    while (row->executeStep()) {
      const std::string value = row->getColumn(0).getString();
      if (value != fine) find(text + value);
    }
  }

  /// Which reports are replaced, what intake must have counted, and how often names are used.
  void check_chains() {
    Query row = connection_.query(
        "SELECT number, installation, product, received, version, packed, replaced, text "
        "FROM report LEFT JOIN report_text ON report = number "
        "ORDER BY installation, product, received, delivery");
    struct Last {
      StoredReport report;
      Time received;
      Report counts;
      bool is_replaced = false;
      bool is_damaged = false;
    };
    std::optional<Last> last;
    const auto finish = [&](bool is_sent_again) {
      if (last && last->is_replaced != is_sent_again) {
        find("report " + std::to_string(last->report.number) +
             (is_sent_again ? " is replaced by the next one, but counts"
                            : " counts as replaced, but is not"));
      }
    };
    StoredReport report;
    while (row->executeStep()) {
      bool is_damaged = !read_report(*row.operator->(), names_, report);
      const Time received{std::chrono::seconds{row->getColumn(3).getInt64()}};
      const bool is_replaced = row->getColumn(6).getInt() != 0;
      Report counts;
      if (auto found = read_counts(bytes_of(row->getColumn(5)), names_)) {
        counts = std::move(*found);
      } else {
        is_damaged = true;
      }
      if (is_damaged) {
        ++damaged_reports_;
        find("report " + std::to_string(report.number) + " is damaged and counts as an empty one");
      }
      check_texts(report, counts, row->isColumnNull(7) ? "" : bytes_of(row->getColumn(7)));
      const bool is_same = last && last->report.installation == report.installation &&
                           last->report.group.product == report.group.product;
      // Which of two reports holds a damaged one, nobody can say any more.
      const bool is_known = !is_damaged && !(last && last->is_damaged);
      const bool replaces =
          is_same && (is_known ? is_sent_again(last->counts, last->received, counts, received)
                               : last->is_replaced);
      finish(replaces);
      count_intake(report.group.product, received, "accepted");
      if (replaces) count_intake(report.group.product, received, "replaced");
      use_names(report.counts, uses_, -1);
      uses_.use(report.group.version, -1);
      last = Last{report, received, std::move(counts), is_replaced, is_damaged};
    }
    finish(false);
  }

  void check_texts(const StoredReport& report, Report counts, std::string_view text) {
    auto version = find_version(names_, report.group.version);
    if (!version) {
      find("the version of report " + std::to_string(report.number) + " is damaged");
      return;
    }
    if (text.empty()) return;
    counts.application = std::move(version->application);
    counts.version = std::move(version->version);
    try {
      unpack_text(text, counts);
    } catch (const StorageError&) {
      find("the text of report " + std::to_string(report.number) + " cannot be read");
    }
  }

  void count_intake(std::int64_t product, Time received, const char* outcome) {
    const auto day = std::chrono::floor<std::chrono::days>(received).time_since_epoch().count();
    ++intake_[{product, day, outcome}];
  }

  /// Period by period, so that the memory does not grow with the number of reports.
  void check_cells() {
    std::set<Period> periods;
    {
      Query row = connection_.query("SELECT DISTINCT period FROM cell");
      while (row->executeStep()) periods.insert(row->getColumn(0).getInt());
    }
    {
      Query row = connection_.query("SELECT min(received), max(received) FROM report");
      if (row->executeStep() && !row->isColumnNull(0)) {
        const auto period = [&](int column) {
          return period_of(Time{std::chrono::seconds{row->getColumn(column).getInt64()}});
        };
        for (Period next = period(0); next <= period(1); ++next) periods.insert(next);
      }
    }
    std::vector<std::int64_t> products;
    {
      Query row = connection_.query("SELECT number FROM product");
      while (row->executeStep()) products.push_back(row->getColumn(0).getInt64());
    }
    for (const std::int64_t product : products) {
      std::set<Group> damaged;
      const Withdrawn withdrawn = Withdrawn::read(connection_, product, &damaged);
      for (const Group& group : damaged) {
        find("what is void of the sums of period " + std::to_string(group.period) + " is damaged");
      }
      for (const Period period : periods) check_period(product, period, withdrawn);
    }
  }

  void check_period(std::int64_t product, Period period, const Withdrawn& withdrawn) {
    const std::string where = "the sums of period " + std::to_string(period) + ", ";
    auto expected = recount(product, period);
    CellBuilder::Cells stored;
    try {
      stored = read_cells(product, period, withdrawn);
    } catch (const StorageError&) {
      find(where + "some of them, cannot be read");
      return;
    }
    for (const auto& [key, groups] : expected) {
      for (const auto& [group, cell] : groups) {
        if (!is_equal(cell, stored[key][group])) find(where + describe(key) + " are wrong");
        stored[key].erase(group);
      }
    }
    for (const auto& [key, groups] : stored) {
      for (const auto& [group, cell] : groups) {
        if (!is_equal(cell, {})) find(where + describe(key) + " are of no report");
      }
    }
  }

  /// What the folded reports of a period sum up to.
  CellBuilder::Cells recount(std::int64_t product, Period period) {
    CellBuilder builder;
    const auto seconds = [](Day day) { return Time{day}.time_since_epoch().count(); };
    Query row = connection_.query(
        "SELECT number, installation, product, received, version, packed, replaced, sign "
        "FROM report LEFT JOIN changed ON report = number "
        "WHERE received >= ?1 AND received < ?2 AND product = ?3 AND number <= ?4",
        seconds(first_day_of(period)), seconds(first_day_of(period + 1)), product, folded_);
    StoredReport report;
    while (row->executeStep()) {
      const bool was_counted =
          row->isColumnNull(7) ? row->getColumn(6).getInt() == 0 : row->getColumn(7).getInt() < 0;
      if (!was_counted) continue;
      read_report(*row.operator->(), names_, report);
      builder.add(report);
    }
    return builder.take_cells();
  }

  CellBuilder::Cells read_cells(std::int64_t product, Period period, const Withdrawn& withdrawn) {
    CellBuilder::Cells cells;
    for (const Kind kind :
         {Kind::report, Kind::described, Kind::command, Kind::file_type, Kind::machine}) {
      for (const BlockRow& row : read_block_rows(connection_, product, kind, period, period)) {
        const std::string bytes = read_block(connection_, row);
        for (const PackedCell& packed : PackedCell::read_all(bytes)) {
          SumCell cell = packed.read();
          withdrawn.remove_from(row.key.group, row.segment, cell);
          cells[{kind, packed.item()}][row.key.group].add(kind, cell);
        }
      }
    }
    return cells;
  }

  std::string describe(const CellBuilder::Key& key) {
    const auto [kind, item] = key;
    return item == 0 ? "reports" : "name " + std::to_string(item);
  }

  void check_intake() {
    Query row = connection_.query(
        "SELECT product, day, outcome, deliveries FROM intake "
        "WHERE outcome IN ('accepted', 'replaced')");
    while (row->executeStep()) {
      const auto found = intake_.find({row->getColumn(0).getInt64(), row->getColumn(1).getInt64(),
                                       row->getColumn(2).getString()});
      const std::int64_t expected = found == intake_.end() ? 0 : found->second;
      if (row->getColumn(3).getInt64() != expected) find("the counts of intake are wrong");
      if (found != intake_.end()) intake_.erase(found);
    }
    if (!intake_.empty()) find("counts of intake are missing");
  }

  void check_names() {
    const auto& expected = uses_.noted();
    std::size_t used = 0;
    const TextHash hash(connection_);
    Query row = connection_.query(
        "SELECT number, reports, hash, text FROM name LEFT JOIN name_use ON number = name");
    while (row->executeStep()) {
      const auto number = static_cast<Number>(row->getColumn(0).getInt64());
      if (hash(bytes_of(row->getColumn(3))) != row->getColumn(2).getInt64()) {
        find("the text of name " + std::to_string(number) + " is damaged");
      }
      const auto found = expected.find(number);
      const std::int64_t reports = found == expected.end() ? 0 : -found->second;
      const std::int64_t noted = row->getColumn(1).getInt64();
      // A damaged report may have used any name.
      if (noted < reports || noted > reports + damaged_reports_ || noted == 0) {
        find("the uses of name " + std::to_string(number) + " are wrong");
      }
      if (reports != 0) ++used;
    }
    if (used != expected.size()) find("reports use names that are missing");
  }

  void check_installations() {
    const std::int64_t idle =
        connection_.number(0,
                           "SELECT count(*) FROM installation "
                           "WHERE number NOT IN (SELECT installation FROM report)");
    if (idle != 0) find(std::to_string(idle) + " installations have no report");
  }

  Connection& connection_;
  Names names_;
  /// Only notes uses.
  Names uses_{connection_};
  std::int64_t folded_;
  std::int64_t damaged_reports_ = 0;
  std::map<std::tuple<std::int64_t, std::int64_t, std::string>, std::int64_t> intake_;
  std::vector<std::string> findings_;
};

}  // namespace

std::vector<std::string> check_storage(Connection& connection) {
  return Checker(connection).run();
}

}  // namespace pelto::collector
