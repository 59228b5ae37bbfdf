#include "collector/report/MachineClass.h"

#include <array>
#include <bit>
#include <charconv>
#include <string_view>

namespace pelto::collector {

namespace {

constexpr std::string_view adapter_memory_name = "AdapterRAM";

bool is_size(const MachineValue& property) {
  return (property.category == "System" && property.name == "TotalPhysicalMemory") ||
         (property.category == "HardDisk" && property.name == "Size") ||
         (property.category == "Video Card" && property.name == adapter_memory_name);
}

/// The largest power of two that is no larger than `bytes`, with the unit that makes it a number
/// below 1024.
std::string name_of_class(std::uint64_t bytes) {
  constexpr std::array units{"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  if (bytes == 0) return "0 B";
  const auto exponent = static_cast<unsigned>(std::bit_width(bytes) - 1);
  return std::to_string(std::uint64_t{1} << (exponent % 10)) + " " + units[exponent / 10];
}

}  // namespace

std::optional<std::string> machine_class(const MachineValue& property) {
  if (property.category == "Adapter" && property.name == "MACAddress") return std::nullopt;
  if (!is_size(property)) return property.value;

  std::int64_t number = 0;
  const char* const end = property.value.data() + property.value.size();
  const auto [stop, error] = std::from_chars(property.value.data(), end, number);
  if (error != std::errc{} || stop != end) return property.value;
  // Windows keeps the adapter's memory in 32 bits with a sign.
  if (number < 0 && property.name == adapter_memory_name) number += std::int64_t{1} << 32;
  if (number < 0) return property.value;
  return name_of_class(static_cast<std::uint64_t>(number));
}

}  // namespace pelto::collector
