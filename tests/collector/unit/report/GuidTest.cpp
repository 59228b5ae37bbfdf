#include "collector/report/Guid.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

TEST(Guid, LettersBecomeSmall) {
  EXPECT_EQ(normalize_guid("F702F125-E8FF-40F3-8C7A-65A2CC9357F8"),
            "f702f125-e8ff-40f3-8c7a-65a2cc9357f8");
  EXPECT_EQ(normalize_guid("00000000-0000-0000-0000-000000000000"),
            "00000000-0000-0000-0000-000000000000");
}

TEST(Guid, ATextOfAnotherFormIsNone) {
  const std::string guid = "f702f125-e8ff-40f3-8c7a-65a2cc9357f8";
  for (const std::string& text : {std::string{}, "{" + guid + "}", guid + " ", guid.substr(1)}) {
    EXPECT_EQ(normalize_guid(text), std::nullopt) << text;
  }
  for (std::size_t i = 0; i < guid.size(); ++i) {
    for (const char c : {'g', ' ', '/', ':', '`', '@', 'G', '\0', '\xE4'}) {
      std::string text = guid;
      text[i] = c;
      EXPECT_EQ(normalize_guid(text), std::nullopt) << text;
    }
    std::string text = guid;
    text[i] = guid[i] == '-' ? '0' : '-';
    EXPECT_EQ(normalize_guid(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace pelto::collector
