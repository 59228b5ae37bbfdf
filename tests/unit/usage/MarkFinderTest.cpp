#include "usage/MarkFinder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "usage/LogBytes.h"

namespace {

/// Where in `text` the marks are; the text's size at the end.
std::vector<std::ptrdiff_t> Marks(const std::string& text) {
  CMarkFinder finder;
  // In memory of its exact size, so that a sanitizer sees a read beyond it.
  const std::vector<char> bytes(text.begin(), text.end());
  const char* const end = bytes.data() + bytes.size();
  finder.Start(bytes.data(), end);
  std::vector<std::ptrdiff_t> places;
  do {
    places.push_back(finder.Next() - bytes.data());
  } while (bytes.data() + places.back() != end && places.size() <= text.size());
  EXPECT_EQ(finder.Next(), end) << "the end is returned again";
  return places;
}

std::vector<std::ptrdiff_t> MarksOneByOne(const std::string& text) {
  std::vector<std::ptrdiff_t> places;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n' || text[i] == '\0' || text[i] == '\x1A') {
      places.push_back(static_cast<std::ptrdiff_t>(i));
    }
  }
  places.push_back(static_cast<std::ptrdiff_t>(text.size()));
  return places;
}

TEST(MarkFinder, HasNoMarksBeforeItIsStarted) {
  CMarkFinder finder;
  EXPECT_EQ(finder.Next(), nullptr);
}

TEST(MarkFinder, FindsOneMarkAtEachPlaceOfEachLength) {
  for (size_t length = 0; length <= 200; ++length) {
    EXPECT_EQ(Marks(std::string(length, 'x')), MarksOneByOne(std::string(length, 'x'))) << length;
    for (size_t place = 0; place < length; ++place) {
      for (const char mark : {LineFeed, Nul, Substitute}) {
        std::string text(length, 'x');
        text[place] = mark;
        ASSERT_EQ(Marks(text), MarksOneByOne(text)) << length << " " << place << " " << int{mark};
      }
    }
  }
}

TEST(MarkFinder, TakesNoOtherByteForAMark) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text(130, static_cast<char>(byte));
    ASSERT_EQ(Marks(text), MarksOneByOne(text)) << byte;
  }
}

TEST(MarkFinder, FindsManyMarksInTheirOrder) {
  std::mt19937 random(11);
  for (int i = 0; i < 5'000; ++i) {
    std::string text(random() % 300, '\0');
    // From marks only to hardly any.
    const auto kinds = 3 + random() % 200;
    for (char& c : text) c = "\n\x1A\0x"[std::min<size_t>(random() % kinds, 3)];
    ASSERT_EQ(Marks(text), MarksOneByOne(text)) << i;
  }
}

TEST(MarkFinder, AStartForgetsWhatWasBefore) {
  const std::string text = "a\nb\nc\n";
  CMarkFinder finder;
  finder.Start(text.data(), text.data() + 4);
  EXPECT_EQ(finder.Next(), text.data() + 1);
  finder.Start(text.data() + 4, text.data() + 6);
  EXPECT_EQ(finder.Next(), text.data() + 5);
  EXPECT_EQ(finder.Next(), text.data() + 6);
}

}  // namespace
