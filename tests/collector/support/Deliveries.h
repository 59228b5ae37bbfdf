// Deliveries for tests, in few words.
#pragma once

#include <string>

#include "collector/storage/Storage.h"

namespace pelto::collector::test {

/// The first second of the day `days` after the first day of `period`.
Time time_in(Period period, int days = 0);

/// A GUID in small letters that ends in `number`.
std::string guid_of(int number);

/// A delivery of the product "default" with an identifier that no other one has.
Delivery delivery_of(const std::string& installation, Time received, Report report = {});

/// Keeps a delivery with its time as it is stated, and waits for the outcome.
Outcome keep_stated(Storage& storage, Delivery delivery);

}  // namespace pelto::collector::test
