#include "collector/commands/ProductName.h"

#include <algorithm>
#include <cstddef>

namespace pelto::collector {

namespace {

constexpr std::size_t longest_product = 128;

bool is_control(char c) {
  return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

}  // namespace

bool is_product_name(std::string_view name) {
  return !name.empty() && name.size() <= longest_product && std::ranges::none_of(name, is_control);
}

}  // namespace pelto::collector
