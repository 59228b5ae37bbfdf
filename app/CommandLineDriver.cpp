#include "app/CommandLineDriver.h"

#include <optional>

#include "app/CommandLine.h"
#include "app/ProductVersion.h"
#include "app/RunController.h"
#include "platform/Trace.h"

int RunCommandLine(const std::vector<std::wstring>& arguments, CRunSteps& steps,
                   CClock& clock) try {
  const std::optional<CommandLine> commandLine = ParseCommandLine(arguments);
  TraceResult(L"parse the command line", commandLine.has_value());
  if (!commandLine) return 1;
  const std::wstring applicationVersion = commandLine->mode == RunMode::Duty
                                              ? ReadProductVersion(commandLine->applicationPath)
                                              : std::wstring();
  CRunController controller(steps, clock);
  if (controller.Initialize(commandLine->uploadAddress, commandLine->dataFolder,
                            commandLine->logFolder, commandLine->applicationName,
                            applicationVersion)) {
    controller.Run(commandLine->mode);
  }
  return 0;
} catch (...) {
  // Memory exhaustion outside of a step. Unhandled, it would show the system's error box.
  return 0;
}
