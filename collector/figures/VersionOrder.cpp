#include "collector/figures/VersionOrder.h"

#include <algorithm>
#include <compare>
#include <cstddef>

namespace pelto::collector {

namespace {

/// Takes the part before the next dot off `rest`; "0" when nothing is left.
std::string_view take_part(std::string_view& rest, bool& is_at_end) {
  if (is_at_end) return "0";
  const std::size_t dot = rest.find('.');
  const std::string_view part = rest.substr(0, dot);
  is_at_end = dot == std::string_view::npos;
  if (!is_at_end) rest.remove_prefix(dot + 1);
  return part;
}

bool is_number(std::string_view part) {
  return !part.empty() && std::ranges::all_of(part, [](char c) { return c >= '0' && c <= '9'; });
}

/// Of any length, so no integer type would hold every one.
std::strong_ordering compare_numbers(std::string_view a, std::string_view b) {
  a.remove_prefix(std::min(a.find_first_not_of('0'), a.size()));
  b.remove_prefix(std::min(b.find_first_not_of('0'), b.size()));
  if (a.size() != b.size()) return a.size() <=> b.size();
  return a <=> b;
}

std::strong_ordering compare_parts(std::string_view a, std::string_view b) {
  const bool is_a_number = is_number(a);
  const bool is_b_number = is_number(b);
  if (is_a_number && is_b_number) return compare_numbers(a, b);
  if (is_a_number != is_b_number) {
    return is_a_number ? std::strong_ordering::less : std::strong_ordering::greater;
  }
  return a <=> b;
}

}  // namespace

bool is_version_before(std::string_view a, std::string_view b) {
  std::string_view rest_of_a = a;
  std::string_view rest_of_b = b;
  bool is_a_at_end = false;
  bool is_b_at_end = false;
  while (!is_a_at_end || !is_b_at_end) {
    const std::string_view part_of_a = take_part(rest_of_a, is_a_at_end);
    const std::string_view part_of_b = take_part(rest_of_b, is_b_at_end);
    const std::strong_ordering order = compare_parts(part_of_a, part_of_b);
    if (std::is_neq(order)) return std::is_lt(order);
  }
  return a < b;
}

}  // namespace pelto::collector
