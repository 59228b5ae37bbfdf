#include "collector/storage/sqlite/Names.h"

#include <cstring>
#include <utility>

#include <sodium.h>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Bytes.h"

namespace pelto::collector {

namespace {

/// Names beyond this are read again when they are needed: a sender can make up any number of them.
constexpr std::size_t largest_cache = std::size_t{4} * 1024 * 1024;
/// What an entry costs beside its text.
constexpr std::size_t entry_size = 150;

}  // namespace

std::string join_texts(std::string_view first, std::string_view second) {
  ByteWriter writer;
  writer.text(first);
  return writer.bytes() + std::string(second);
}

std::pair<std::string, std::string> split_texts(std::string_view joined) {
  ByteReader reader(joined);
  std::string first(reader.text());
  return {std::move(first), std::string(reader.rest())};
}

std::optional<Version> split_version(std::string_view joined) {
  try {
    auto [application, version] = split_texts(joined);
    return Version{std::move(application), std::move(version)};
  } catch (const StorageError&) {
    return std::nullopt;
  }
}

std::string join_property(const MachineValue& property) {
  return join_texts(property.category, join_texts(property.name, property.value));
}

MachineValue split_property(std::string_view joined) {
  auto [category, rest] = split_texts(joined);
  auto [name, value] = split_texts(rest);
  return {std::move(category), std::move(name), std::move(value)};
}

TextHash::TextHash(Connection& connection) {
  Query found = connection.query("SELECT value FROM secret WHERE name = 'name hash'");
  if (found->executeStep()) key_ = bytes_of(found->getColumn(0));
  if (key_.size() != crypto_shorthash_KEYBYTES) {
    throw StorageError("the key of the storage's dictionary is missing; restore a backup");
  }
}

std::int64_t TextHash::operator()(std::string_view text) const {
  unsigned char hash[crypto_shorthash_BYTES];
  crypto_shorthash(hash, reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                   reinterpret_cast<const unsigned char*>(key_.data()));
  std::int64_t number = 0;
  std::memcpy(&number, hash, sizeof number);
  return number;
}

Number Names::find(Kind kind, std::string_view text) {
  auto& numbers = numbers_[kind];
  const std::string key(text);
  if (const auto known = numbers.find(key); known != numbers.end()) return known->second;
  Query found = connection_.query("SELECT number, text FROM name WHERE kind = ?1 AND hash = ?2",
                                  static_cast<std::int64_t>(kind), hash_(text));
  while (found->executeStep()) {
    if (bytes_of(found->getColumn(1)) != text) continue;
    const auto number = static_cast<Number>(found->getColumn(0).getInt64());
    remember(kind, number, text);
    return number;
  }
  return 0;
}

Number Names::add(Kind kind, std::string_view text) {
  if (const Number known = find(kind, text); known != 0) return known;
  connection_.run("INSERT INTO name(kind, hash, text) VALUES (?1, ?2, ?3)",
                  static_cast<std::int64_t>(kind), hash_(text), text);
  const auto number = static_cast<Number>(connection_.database().getLastInsertRowid());
  remember(kind, number, text);
  return number;
}

const std::string& Names::text_of(Number number) {
  if (const std::string* const text = find_text(number)) return *text;
  throw StorageError("the storage's dictionary is damaged; run check, and restore a backup");
}

bool Names::knows(Kind kind, Number number) {
  ::Roaring& known = known_[kind];
  if (known.contains(number)) return true;
  const std::int64_t found = connection_.number(-1, "SELECT kind FROM name WHERE number = ?1",
                                                static_cast<std::int64_t>(number));
  if (found != static_cast<std::int64_t>(kind)) return false;
  known.add(number);
  return true;
}

std::vector<std::string> Names::write_uses() {
  std::vector<Number> unused;
  for (const auto& [number, change] : uses_) {
    if (change == 0) continue;
    if (change > 0) {
      connection_.run(
          "INSERT INTO name_use VALUES (?1, ?2) "
          "ON CONFLICT(name) DO UPDATE SET reports = reports + ?2",
          static_cast<std::int64_t>(number), change);
      continue;
    }
    constexpr std::int64_t missing = 1;
    const std::int64_t reports = connection_.number(
        missing, "UPDATE name_use SET reports = reports + ?2 WHERE name = ?1 RETURNING reports",
        static_cast<std::int64_t>(number), change);
    if (reports <= 0) unused.push_back(number);
  }
  uses_.clear();
  std::vector<std::string> texts;
  for (const Number number : unused) {
    if (const std::string* const text = find_text(number)) texts.push_back(*text);
    connection_.run("DELETE FROM name_use WHERE name = ?1", static_cast<std::int64_t>(number));
    connection_.run("DELETE FROM name WHERE number = ?1", static_cast<std::int64_t>(number));
  }
  if (!unused.empty()) forget();
  return texts;
}

void Names::forget() {
  numbers_.clear();
  texts_.clear();
  known_.clear();
  cached_bytes_ = 0;
  uses_.clear();
}

const std::string* Names::find_text(Number number) {
  if (const auto known = texts_.find(number); known != texts_.end()) return &known->second;
  Query found = connection_.query("SELECT kind, text FROM name WHERE number = ?1",
                                  static_cast<std::int64_t>(number));
  if (!found->executeStep()) return nullptr;
  remember(static_cast<Kind>(found->getColumn(0).getInt()), number, bytes_of(found->getColumn(1)));
  return &texts_.at(number);
}

void Names::remember(Kind kind, Number number, std::string_view text) {
  if (cached_bytes_ > largest_cache) {
    numbers_.clear();
    texts_.clear();
    cached_bytes_ = 0;
  }
  numbers_[kind].emplace(text, number);
  texts_.emplace(number, text);
  cached_bytes_ += 2 * (text.size() + entry_size);
}

std::optional<Version> find_version(Names& names, Number number) {
  if (!names.knows(Kind::version, number)) return std::nullopt;
  return split_version(names.text_of(number));
}

std::optional<MachineValue> find_property(Names& names, Number number) {
  if (!names.knows(Kind::machine, number)) return std::nullopt;
  try {
    return split_property(names.text_of(number));
  } catch (const StorageError&) {
    return std::nullopt;
  }
}

}  // namespace pelto::collector
