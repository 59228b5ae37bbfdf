#include "app/PeltoApp.h"

#include "platform/WindowsHeader.h"

#include <commctrl.h>
#include <shellapi.h>

#include <optional>
#include <string>
#include <vector>

#include "app/CommandLineDriver.h"
#include "app/ProgramSteps.h"
#include "app/ResourceModule.h"
#include "platform/SystemClock.h"
#include "platform/UniqueHandle.h"

namespace {

/// Every class of the first eight groups of common controls.
constexpr DWORD CommonControlClasses = 0xFF;

/// The program's own path. None also when the path does not fit into the buffer: a library must not
/// be loaded from the folder that the cut path names.
std::optional<std::wstring> GetProgramPath() {
  wchar_t buffer[520];
  const DWORD length = GetModuleFileNameW(nullptr /* the program */, buffer, ARRAYSIZE(buffer));
  if (length == 0 || length == ARRAYSIZE(buffer)) return {};
  return std::wstring(buffer, length);
}

/// The block that `CommandLineToArgvW` returns.
struct ArgumentsTraits {
  using Handle = wchar_t**;
  static Handle GetInvalid() { return nullptr; }
  static void Close(Handle block) { LocalFree(block); }
};

std::vector<std::wstring> GetArguments() {
  int count = 0;
  const CUniqueHandle<ArgumentsTraits> arguments(CommandLineToArgvW(GetCommandLineW(), &count));
  if (!arguments) return {};
  return {arguments.Get(), arguments.Get() + count};
}

}  // namespace

BOOL CPeltoApp::InitInstance() {
  const INITCOMMONCONTROLSEX controls = {sizeof controls, CommonControlClasses};
  InitCommonControlsEx(&controls);
  CWinApp::InitInstance();

  resourceModule_ = AfxGetResourceHandle();
  if (const std::optional<std::wstring> path = GetProgramPath()) {
    const size_t backslash = path->rfind(L'\\');
    // Windows reports no such path (docs/compatibility.md, 2).
    if (backslash == std::wstring::npos) return TRUE;
    if (const auto module = LoadResourceModule(path->substr(0, backslash), m_hInstance)) {
      resourceModule_ = *module;
    }
  }
  if (resourceModule_ != nullptr) AfxSetResourceHandle(resourceModule_);
  AfxEnableControlContainer();

  CProgramSteps steps;
  CSystemClock clock;
  RunCommandLine(GetArguments(), steps, clock);
  return FALSE;
}

int CPeltoApp::ExitInstance() {
  const int exitCode = CWinApp::ExitInstance();
  if (const HINSTANCE module = AfxGetResourceHandle(); module != m_hInstance) {
    AfxSetResourceHandle(m_hInstance);
    AfxFreeLibrary(module);
  }
  return exitCode;
}
