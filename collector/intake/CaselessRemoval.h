#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pelto::collector {

/// `text` with one character in place of each occurrence of one of `words`, and of occurrences that
/// overlap. Letter case makes no difference. The character is in none of the words, so that no
/// occurrence is left or made. All in UTF-8; empty words are ignored. The time is proportional to
/// the text's length whatever the words are.
std::string remove_words(std::string_view text, const std::vector<std::string>& words);

}  // namespace pelto::collector
