#include "usage/LogLine.h"

#include <gtest/gtest.h>

#include "tests/support/TestText.h"

namespace {

TEST(ClassifyLine, KnowsTheThreeKeywordsBehindThePrefix) {
  EXPECT_EQ(ClassifyLine(Prefix() + "Command = Line"), UsageEventKind::Command);
  EXPECT_EQ(ClassifyLine(Prefix() + "OnOpenDocument"), UsageEventKind::OpenDocument);
  EXPECT_EQ(ClassifyLine(Prefix() + "OnSaveDocument"), UsageEventKind::SaveDocument);
}

TEST(ClassifyLine, TakesWhateverFollowsAKeyword) {
  EXPECT_EQ(ClassifyLine(Prefix() + "OnOpenDocumentTemplate"), UsageEventKind::OpenDocument);
  EXPECT_EQ(ClassifyLine(Prefix() + "OnSaveDocument: done"), UsageEventKind::SaveDocument);
  EXPECT_EQ(ClassifyLine(Prefix() + "Command = "), UsageEventKind::Command);
}

TEST(ClassifyLine, NeverLooksAtThePrefix) {
  EXPECT_EQ(ClassifyLine(std::string(23, '\xFF') + "Command = Line"), UsageEventKind::Command);
  EXPECT_EQ(ClassifyLine("OnOpenDocumentCommand =Command = x"), UsageEventKind::Command);
}

TEST(ClassifyLine, WantsThePrefixToBeExactlyThatLong) {
  for (const size_t length : {0U, 1U, 22U, 24U, 25U}) {
    EXPECT_EQ(ClassifyLine(Prefix(length) + "Command = Line"), std::nullopt) << length;
    EXPECT_EQ(ClassifyLine(Prefix(length) + "OnOpenDocument"), std::nullopt) << length;
  }
}

TEST(ClassifyLine, ComparesByteByByte) {
  for (const char* text :
       {"command = Line", "COMMAND = Line", "Command =Line", "Command= Line", "Command  = Line",
        "Command =\tLine", "Command =", " Command = Line", "onOpenDocument", "OnOpendocument",
        "OnOpenDocumen", "OnSaveDocumen", "OnCloseDocument", ""}) {
    EXPECT_EQ(ClassifyLine(Prefix() + text), std::nullopt) << text;
  }
}

TEST(ClassifyLine, AShortLineIsNoEvent) {
  EXPECT_EQ(ClassifyLine(""), std::nullopt);
  EXPECT_EQ(ClassifyLine(Prefix(22)), std::nullopt);
  EXPECT_EQ(ClassifyLine(Prefix(23)), std::nullopt);
}

}  // namespace
