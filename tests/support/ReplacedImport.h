#pragma once

#include <gtest/gtest.h>

#include "platform/WindowsHeader.h"

/// Replaces a function that the test program imports, until the end of the scope. `entry` is the
/// program's own pointer to it, declared as `extern "C" void* __imp_NAME`.
class ReplacedImport {
 public:
  ReplacedImport(void*& entry, void* function) : entry_(entry), original_(entry) { Put(function); }
  ~ReplacedImport() { Put(original_); }
  ReplacedImport(const ReplacedImport&) = delete;
  ReplacedImport& operator=(const ReplacedImport&) = delete;

  /// The function that was replaced; a call by its name would reach the replacement.
  void* GetOriginal() const { return original_; }

 private:
  void Put(void* function) {
    DWORD protection = 0;
    EXPECT_TRUE(VirtualProtect(&entry_, sizeof entry_, PAGE_READWRITE, &protection));
    entry_ = function;
    VirtualProtect(&entry_, sizeof entry_, protection, &protection);
  }

  void*& entry_;
  void* original_;
};
