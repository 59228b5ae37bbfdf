#include "survey/SystemInformation.h"

#include <cstdint>
#include <optional>
#include <utility>

#include "platform/DecimalText.h"

namespace {

/// The local machine.
constexpr wchar_t Cimv2[] = L"\\\\.\\ROOT\\CIMV2";

/// A category and its first query. The step fills `section` and returns 1, or returns 0 to leave
/// the category out.
struct Category {
  const wchar_t* name;
  int (*describe)(const WmiQuery& ask, const Category& category, InfoSection& section);
  const wchar_t* query;
  const wchar_t* properties;
};

/// All properties of the first row (docs/compatibility.md, 28).
int DescribeFirst(const WmiQuery& ask, const Category& category, InfoSection& section) {
  return ask(Cimv2, category.query, category.properties, &section);
}

/// The sum of all disks' sizes in bytes, network and removable disks included. A drive without a
/// disk has no size. A sum beyond 64 bits wraps around.
int DescribeDisks(const WmiQuery& ask, const Category& category, InfoSection& section) {
  InfoSection disks(L"Logical Disk Info");
  if (ask(Cimv2, category.query, category.properties, &disks) == 0) return 0;
  std::uint64_t sum = 0;
  for (const InfoSection* disk = &disks; disk != nullptr; disk = disk->GetNextRow()) {
    const InfoProperty* const size = disk->FindProperty(L"Size");
    if (size == nullptr) continue;
    if (const std::optional<std::int64_t> bytes = ReadInt64(size->value)) {
      sum += static_cast<std::uint64_t>(*bytes);
    }
  }
  section.AddProperty(L"Size", std::to_wstring(static_cast<std::int64_t>(sum)));
  return 1;
}

/// The number of rows. The first row always exists and counts, so the number is never below 1
/// (docs/compatibility.md, 30).
int DescribeMonitors(const WmiQuery& ask, const Category& category, InfoSection& section) {
  InfoSection monitors(L"Monitor");
  if (ask(Cimv2, category.query, category.properties, &monitors) == 0) return 0;
  int count = 0;
  for (const InfoSection* row = &monitors; row != nullptr; row = row->GetNextRow()) ++count;
  section.AddProperty(L"Number", std::to_wstring(count));
  return 1;
}

/// The query for the configuration of a network adapter, or none when it would be too long.
std::optional<std::wstring> FormatConfigurationQuery(const std::wstring& deviceId) {
  constexpr std::size_t limit = 1023;
  std::wstring query =
      L"SELECT * FROM Win32_NetworkAdapterConfiguration where IPEnabled='True' and index=" +
      deviceId;
  if (query.size() > limit) return {};
  return query;
}

/// The hardware address of the first connected adapter. The category is left out when no adapter is
/// connected; it has no address when IP is not enabled on the first one.
int DescribeAdapter(const WmiQuery& ask, const Category& category, InfoSection& section) {
  InfoSection adapters(L"Adapters");
  if (ask(Cimv2, category.query, category.properties, &adapters) == 0) return 0;
  const InfoProperty* deviceId = nullptr;
  for (const InfoSection* adapter = &adapters; adapter != nullptr && deviceId == nullptr;
       adapter = adapter->GetNextRow()) {
    deviceId = adapter->FindProperty(L"DeviceId");
  }
  if (deviceId == nullptr) return 0;
  // Made for the duration of the second query and not used (docs/compatibility.md, 32).
  const InfoSection unused(L"AdapterConf");
  // The category counts as described even when this query fails (docs/compatibility.md, 34).
  if (const std::optional<std::wstring> query = FormatConfigurationQuery(deviceId->value)) {
    ask(Cimv2, *query, L"MACAddress", &section);
  }
  return 1;
}

/// In report order.
constexpr Category Categories[] = {
    {L"Video Card", DescribeFirst, L"SELECT * FROM Win32_VideoController",
     L"Name;CurrentHorizontalResolution;CurrentVerticalResolution;AdapterRAM"},
    {L"System", DescribeFirst, L"SELECT * FROM Win32_ComputerSystem", L"TotalPhysicalMemory"},
    {L"OS", DescribeFirst, L"SELECT * FROM Win32_OperatingSystem",
     L"Caption;Version;OSArchitecture;Locale"},
    {L"Processor", DescribeFirst, L"SELECT * FROM Win32_Processor", L"Name;NumberOfCores"},
    {L"HardDisk", DescribeDisks, L"SELECT * FROM Win32_LogicalDisk", L"DeviceID;FreeSpace;Size"},
    // Two spaces after FROM: the text is kept to the letter (docs/compatibility.md, 31).
    {L"Monitor", DescribeMonitors, L"SELECT * FROM  Win32_DesktopMonitor Where Status='OK'",
     L"Name"},
    // Not "DeviceID": rows carry the spelling of this list, and the step looks up "DeviceId" with
    // its case (docs/compatibility.md, 33).
    {L"Adapter", DescribeAdapter, L"SELECT * FROM Win32_NetworkAdapter WHERE NetConnectionStatus=2",
     L"DeviceId"},
};

}  // namespace

std::unique_ptr<InfoSection> BuildSystemInformation(const WmiQuery& ask) {
  auto root = std::make_unique<InfoSection>(L"SystemInfo");
  for (const Category& category : Categories) {
    auto section = std::make_unique<InfoSection>(category.name);
    if (category.describe(ask, category, *section) != 0) root->AddChild(std::move(section));
  }
  return root;
}

int CollectSystemInformation(const WmiQuery& ask, const SystemProperties& held,
                             const SystemPropertySetter& set) {
  if (!held.empty()) return 0;
  const std::unique_ptr<InfoSection> root = BuildSystemInformation(ask);
  for (InfoSection* category = root->GetFirstChild(); category != nullptr;
       category = root->GetNextChild()) {
    for (const InfoProperty* property = category->GetFirstProperty(); property != nullptr;
         property = category->GetNextProperty()) {
      set(property->name, category->GetName(), property->value);
    }
  }
  return 1;
}
