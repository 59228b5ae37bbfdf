#pragma once

#include <cstdio>
#include <string>

/// Reads a report for sending: all characters of `stream`, which is open in text mode, and the last
/// one once more; of an empty stream one NUL byte. The doubling is deliberate: it comes of testing
/// the stream before each read and not after, and the report has always gone out so. A missing
/// stream gives nothing.
std::string ReadReportPayload(std::FILE* stream);
