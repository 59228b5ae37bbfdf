#pragma once

#include <cstdio>
#include <memory>

struct StreamCloser {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};

/// Owner of an open C stream.
using Stream = std::unique_ptr<std::FILE, StreamCloser>;
