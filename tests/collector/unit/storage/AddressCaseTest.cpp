#include "collector/storage/AddressCase.h"

#include <gtest/gtest.h>

namespace pelto::collector {

namespace {

TEST(AddressCase, DoesNotMatterInEveryScript) {
  EXPECT_EQ(fold_address("Ann.O'Neil+1@EXAMPLE.com"), "ann.o'neil+1@example.com");
  EXPECT_EQ(fold_address("\u00C9"), fold_address("\u00E9"));
  EXPECT_EQ(fold_address("stra\u00DFe"), fold_address("STRASSE"));
  EXPECT_EQ(fold_address("\u0391\u03A3"), fold_address("\u03B1\u03C2"));
  EXPECT_NE(fold_address("\u00E9"), fold_address("e"));
  EXPECT_EQ(fold_address(""), "");
}

TEST(AddressCase, BytesThatAreNoTextAreReplaced) {
  EXPECT_EQ(fold_address("A\xFF\xC3"), "a\uFFFD\uFFFD");
}

}  // namespace

}  // namespace pelto::collector
