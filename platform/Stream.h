#pragma once

#include <cstdio>

#include "platform/UniqueHandle.h"

struct StreamTraits {
  using Handle = std::FILE*;
  static Handle GetInvalid() { return nullptr; }
  static void Close(Handle stream) { std::fclose(stream); }
};

/// Owner of an open C stream.
using CStream = CUniqueHandle<StreamTraits>;
