#include "collector/figures/VersionOrder.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string_view>
#include <vector>

namespace pelto::collector {
namespace {

TEST(VersionOrder, IsThatOfTheNumbersThenOfTheText) {
  const std::vector<std::string_view> versions{"0.9",
                                               "1",
                                               "1.0",
                                               "1.0.0.0",
                                               "01.0.0.1",
                                               "1.0.0.1",
                                               "1.2",
                                               "1.10",
                                               "1.10.beta",
                                               "2",
                                               "10.0",
                                               "99999999999999999999",
                                               "100000000000000000000",
                                               "100000000000000000000.1",
                                               "",
                                               "beta",
                                               "beta.2",
                                               "beta.10",
                                               "v2"};
  for (std::size_t i = 0; i < versions.size(); ++i) {
    for (std::size_t j = 0; j < versions.size(); ++j) {
      EXPECT_EQ(is_version_before(versions[i], versions[j]), i < j)
          << versions[i] << " and " << versions[j];
    }
  }
}

}  // namespace
}  // namespace pelto::collector
