#pragma once

#include <string>
#include <vector>

#include "app/RunSteps.h"
#include "platform/Clock.h"

/// Does what the command line asks for: one controller, initialised and run once. 1 when the
/// command line asks for nothing that the program knows (no file is touched then), otherwise 0,
/// also when initialisation or run failed.
int RunCommandLine(const std::vector<std::wstring>& arguments, CRunSteps& steps, CClock& clock);
