#pragma once

#include <cstdio>
#include <string>

/// Reads a report for sending: all characters of `stream`, which is open in text mode, and the last
/// one once more; of an empty stream one NUL byte. The doubling is deliberate: the servers get
/// every report in this form, and a report without it would be another form to them. A missing
/// stream gives nothing.
std::string ReadReportPayload(std::FILE* stream);
