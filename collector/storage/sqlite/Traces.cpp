#include "collector/storage/sqlite/Traces.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include <sqlite3.h>

#include "collector/storage/sqlite/LeafPage.h"

namespace pelto::collector {

namespace {

/// Shorter texts are in every file by chance.
constexpr std::size_t shortest_text = 4;
/// A row's first bytes are in its table's page, at least as many as this; the rest of a long row
/// goes into pages of its own, which are overwritten when they get free.
constexpr std::size_t longest_part = 256;
/// With more texts of a table than this, writing it anew takes less time than looking for each.
constexpr std::size_t most_texts = 200;
/// More are not kept in mind.
constexpr std::size_t most_kept = 100'000;
/// After this many pages `goes_on` is asked.
constexpr std::size_t pages_between = 256;

/// The file as SQLite has it open: the end of another descriptor would take the locks of all
/// connections that this process has to it.
class OpenFile {
 public:
  explicit OpenFile(Connection& connection) : page_size_(connection.number(0, "PRAGMA page_size")) {
    if (sqlite3_file_control(connection.database().getHandle(), "main", SQLITE_FCNTL_FILE_POINTER,
                             &file_) != SQLITE_OK) {
      throw_failed();
    }
  }

  /// Another process may have made the file shorter meanwhile; what is gone is read as zeros.
  std::string& read_page(std::int64_t number) {
    page_.resize(static_cast<std::size_t>(page_size_));
    const int result = file_->pMethods->xRead(file_, page_.data(), static_cast<int>(page_size_),
                                              (number - 1) * page_size_);
    if (result != SQLITE_OK && result != SQLITE_IOERR_SHORT_READ) throw_failed();
    return page_;
  }

 private:
  [[noreturn]] static void throw_failed() {
    throw StorageError(
        "the file cannot be read to look for traces of what was erased; check the "
        "disk");
  }

  std::int64_t page_size_;
  sqlite3_file* file_ = nullptr;
  std::string page_;
};

std::vector<std::int64_t> pages_of(Connection& connection, const std::string& table) {
  std::vector<std::int64_t> pages;
  Query row = connection.query("SELECT pageno FROM dbstat WHERE name = ?1 ORDER BY pageno", table);
  while (row->executeStep()) pages.push_back(row->getColumn(0).getInt64());
  return pages;
}

/// Whether a text is in an unused part of the page. Rows of others may have it, too.
bool has_trace(std::string& page, const std::vector<std::string_view>& texts) {
  blank_rows(page);
  return std::ranges::any_of(
      texts, [&](std::string_view text) { return page.find(text) != std::string::npos; });
}

}  // namespace

void ErasedTexts::add(std::int64_t erasure, std::vector<ErasedText> texts) {
  std::erase_if(texts, [](const ErasedText& one) { return one.text.size() < shortest_text; });
  const std::lock_guard lock(mutex_);
  count_ += texts.size();
  erasures_.emplace(erasure, std::move(texts));
  if (count_ <= most_kept) return;
  erasures_.clear();
  count_ = 0;
}

std::optional<std::vector<ErasedText>> ErasedTexts::find(std::int64_t first, std::int64_t last) {
  const std::lock_guard lock(mutex_);
  std::vector<ErasedText> texts;
  std::int64_t next = first + 1;
  for (auto found = erasures_.upper_bound(first); found != erasures_.end(); ++found, ++next) {
    if (next > last) break;
    if (found->first != next) return std::nullopt;
    texts.insert(texts.end(), found->second.begin(), found->second.end());
  }
  if (next != last + 1) return std::nullopt;
  return texts;
}

void ErasedTexts::forget(std::int64_t last) {
  const std::lock_guard lock(mutex_);
  std::erase_if(erasures_, [last](const auto& erasure) { return erasure.first <= last; });
  count_ = 0;
  for (const auto& [number, texts] : erasures_) count_ += texts.size();
}

void go_on_removing(const GoesOn& goes_on) {
  if (goes_on()) return;
  throw StorageError(
      "traces of what was erased are left in the file, as the program ends; start the server, or "
      "erase again");
}

std::set<std::string> find_traces(Connection& connection, const std::vector<ErasedText>& texts,
                                  const GoesOn& goes_on) {
  std::map<std::string, std::vector<std::string_view>> by_table;
  for (const ErasedText& one : texts) {
    by_table[one.table].push_back(std::string_view(one.text).substr(0, longest_part));
  }
  OpenFile file(connection);
  std::set<std::string> found;
  // Debian's SQLite can list the pages of a table. One that cannot has all tables written anew.
  const bool can_list = sqlite3_compileoption_used("ENABLE_DBSTAT_VTAB") != 0;
  for (const auto& [table, parts] : by_table) {
    if (!can_list || parts.size() > most_texts) {
      found.insert(table);
      continue;
    }
    std::size_t read = 0;
    for (const std::int64_t page : pages_of(connection, table)) {
      if (read++ % pages_between == 0) go_on_removing(goes_on);
      if (!has_trace(file.read_page(page), parts)) continue;
      found.insert(table);
      break;
    }
  }
  return found;
}

}  // namespace pelto::collector
