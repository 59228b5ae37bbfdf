#include "collector/report/MachineClass.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

std::optional<std::string> memory(const std::string& value) {
  return machine_class({"System", "TotalPhysicalMemory", value});
}

TEST(MachineClass, ASizeIsNamedByTheLowerEndOfItsPowerOfTwo) {
  EXPECT_EQ(memory("8589934592"), "8 GiB");
  EXPECT_EQ(memory("8589934591"), "4 GiB");
  EXPECT_EQ(memory("17179869183"), "8 GiB");
  EXPECT_EQ(memory("17179869184"), "16 GiB");
  EXPECT_EQ(memory("1"), "1 B");
  EXPECT_EQ(memory("1023"), "512 B");
  EXPECT_EQ(memory("1024"), "1 KiB");
  EXPECT_EQ(memory("1048575"), "512 KiB");
  EXPECT_EQ(memory("1048576"), "1 MiB");
  EXPECT_EQ(memory("0"), "0 B");
  EXPECT_EQ(memory("9223372036854775807"), "4 EiB");
  EXPECT_EQ(machine_class({"HardDisk", "Size", "164505600000"}), "128 GiB");
  EXPECT_EQ(machine_class({"HardDisk", "Size", "4000000000000"}), "2 TiB");
}

TEST(MachineClass, EveryPowerOfTwoBeginsAClass) {
  for (int exponent = 1; exponent < 63; ++exponent) {
    const std::uint64_t lower = std::uint64_t{1} << exponent;
    EXPECT_NE(memory(std::to_string(lower - 1)), memory(std::to_string(lower)));
    EXPECT_EQ(memory(std::to_string(lower)), memory(std::to_string(lower + (lower - 1))));
  }
}

TEST(MachineClass, ANegativeAdapterMemoryIsOfMoreThan2GiB) {
  EXPECT_EQ(machine_class({"Video Card", "AdapterRAM", "-1048576"}), "2 GiB");
  EXPECT_EQ(machine_class({"Video Card", "AdapterRAM", "-2147483648"}), "2 GiB");
  EXPECT_EQ(machine_class({"Video Card", "AdapterRAM", "536870912"}), "512 MiB");
  EXPECT_EQ(machine_class({"Video Card", "AdapterRAM", "-5000000000"}), "-5000000000");
  EXPECT_EQ(memory("-1048576"), "-1048576");
}

TEST(MachineClass, WhatIsNoSizeIsItself) {
  EXPECT_EQ(memory("much"), "much");
  EXPECT_EQ(memory("8 GB"), "8 GB");
  EXPECT_EQ(memory(""), "");
  EXPECT_EQ(memory("99999999999999999999"), "99999999999999999999");
  EXPECT_EQ(machine_class({"Processor", "NumberOfCores", "8"}), "8");
  EXPECT_EQ(machine_class({"OS", "Size", "8589934592"}), "8589934592");
  EXPECT_EQ(machine_class({"HardDisk", "TotalPhysicalMemory", "8589934592"}), "8589934592");
}

TEST(MachineClass, TheAdaptersAddressIsNotShown) {
  EXPECT_EQ(machine_class({"Adapter", "MACAddress", "02:fc:00:00:00:01"}), std::nullopt);
  EXPECT_EQ(machine_class({"Adapter", "Name", "Ethernet"}), "Ethernet");
}

}  // namespace
}  // namespace pelto::collector
