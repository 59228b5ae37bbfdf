#include "collector/intake/CaselessRemoval.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <bitset>
#include <cstddef>
#include <utility>

namespace pelto::collector {

namespace {

/// The next character of `text`, in small letters. What is no UTF-8 gives some character.
char32_t take_folded(std::string_view text, std::size_t& at) {
  const auto take_byte = [&] { return static_cast<unsigned char>(text[at++]); };
  const char32_t lead = take_byte();
  if (lead < 0x80) return lead >= 'A' && lead <= 'Z' ? lead + ('a' - 'A') : lead;
  const unsigned following = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  char32_t c = lead & (0x3FU >> following);
  for (unsigned i = 0; i < following && at < text.size(); ++i) c = c << 6U | (take_byte() & 0x3FU);
  return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

std::u32string fold(std::string_view text) {
  std::u32string folded;
  for (std::size_t at = 0; at < text.size();) folded += take_folded(text, at);
  return folded;
}

/// Finds the ends of a word in a text that is given character by character (Knuth, Morris, Pratt).
class WordSearch {
 public:
  explicit WordSearch(std::u32string word) : word_(std::move(word)), next_(word_.size() + 1) {
    for (std::size_t i = 1, same = 0; i < word_.size(); ++i) {
      while (same > 0 && word_[i] != word_[same]) same = next_[same];
      if (word_[i] == word_[same]) ++same;
      next_[i + 1] = same;
    }
  }

  std::size_t length() const { return word_.size(); }
  char32_t first() const { return word_.front(); }
  /// Whether the characters so far end with the beginning of the word.
  bool has_begun() const { return matched_ > 0; }
  bool has(char32_t c) const { return word_.find(c) != std::u32string::npos; }

  /// Whether an occurrence ends with this character.
  bool take(char32_t c) {
    if (matched_ == word_.size()) matched_ = next_[matched_];
    while (matched_ > 0 && word_[matched_] != c) matched_ = next_[matched_];
    if (word_[matched_] == c) ++matched_;
    return matched_ == word_.size();
  }

 private:
  std::u32string word_;
  /// By length of what has matched: the length of its longest end that the word begins with.
  std::vector<std::size_t> next_;
  std::size_t matched_ = 0;
};

/// A character that is in none of the words.
char32_t find_stand_in(const std::vector<WordSearch>& searches) {
  const auto is_taken = [&searches](char32_t c) {
    return std::ranges::any_of(searches, [c](const WordSearch& search) { return search.has(c); });
  };
  char32_t c = U'*';
  while (is_taken(c)) c = c == U'*' ? U'\u2588' : c + 1;
  return c;
}

/// Characters of the text, by their numbers.
struct Range {
  std::size_t start = 0;
  std::size_t end = 0;
};

/// Adds a range that ends no earlier than the others, together with those it overlaps.
void add_range(std::vector<Range>& ranges, Range range) {
  while (!ranges.empty() && ranges.back().end > range.start) {
    range.start = std::min(range.start, ranges.back().start);
    ranges.pop_back();
  }
  ranges.push_back(range);
}

/// The characters with which words begin. All but those of ASCII count as such.
class FirstCharacters {
 public:
  explicit FirstCharacters(const std::vector<WordSearch>& searches) {
    for (const WordSearch& search : searches) {
      if (search.first() < is_first_.size()) is_first_.set(search.first());
    }
  }

  bool contain(char32_t c) const { return c >= is_first_.size() || is_first_[c]; }

 private:
  std::bitset<128> is_first_;
};

std::vector<Range> find_words(std::string_view text, std::vector<WordSearch>& searches) {
  const FirstCharacters first_characters(searches);
  std::vector<Range> ranges;
  std::size_t count = 0;
  bool has_begun = false;
  for (std::size_t at = 0; at < text.size();) {
    const char32_t c = take_folded(text, at);
    ++count;
    if (!has_begun && !first_characters.contain(c)) continue;
    has_begun = false;
    for (WordSearch& search : searches) {
      if (search.take(c)) add_range(ranges, {count - search.length(), count});
      has_begun = has_begun || search.has_begun();
    }
  }
  return ranges;
}

std::string to_utf8(char32_t c) {
  std::string bytes;
  icu::UnicodeString(static_cast<UChar32>(c)).toUTF8String(bytes);
  return bytes;
}

}  // namespace

std::string remove_words(std::string_view text, const std::vector<std::string>& words) {
  std::vector<WordSearch> searches;
  for (const std::string& word : words) {
    if (!word.empty()) searches.emplace_back(fold(word));
  }
  const std::vector<Range> ranges = find_words(text, searches);
  if (ranges.empty()) return std::string(text);

  const std::string stand_in = to_utf8(find_stand_in(searches));
  std::string kept;
  kept.reserve(text.size());
  std::size_t at = 0;
  std::size_t count = 0;
  // Moves on to the character of this number. Returns the text up to it.
  const auto move_to = [&](std::size_t number) {
    const std::size_t start = at;
    for (; count < number; ++count) take_folded(text, at);
    return text.substr(start, at - start);
  };
  for (const Range& range : ranges) {
    kept += move_to(range.start);
    kept += stand_in;
    move_to(range.end);
  }
  kept += text.substr(at);
  return kept;
}

}  // namespace pelto::collector
