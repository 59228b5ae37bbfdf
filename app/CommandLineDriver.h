#pragma once

#include <string>
#include <vector>

#include "app/RunSteps.h"
#include "platform/Clock.h"

/// Runs one controller by the command line. Returns 1, without touching any file, when the command
/// line is refused (see `ParseCommandLine`); otherwise 0, even when initialization or run failed.
int RunCommandLine(const std::vector<std::wstring>& arguments, CRunSteps& steps, CClock& clock);
