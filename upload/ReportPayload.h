#pragma once

#include <cstdio>
#include <string>

/// Reads a report for sending: all characters of `stream`, which must be open in text mode, with
/// the last one doubled. An empty stream gives one NUL byte (docs/compatibility.md, 35: servers
/// remove the last byte of every report). A null stream gives an empty payload.
std::string ReadReportPayload(std::FILE* stream);
