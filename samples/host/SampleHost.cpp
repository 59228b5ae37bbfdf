// A host application in small: its commands do nothing but go into the usage log.
//
//   SampleHost SENDER ADDRESS DATA-FOLDER LOG-FOLDER          shows its window
//   SampleHost SENDER ADDRESS DATA-FOLDER LOG-FOLDER SCRIPT   plays a script and ends
//
// SENDER is the path of PELTOSender.exe, ADDRESS the address for its uploads. A script is UTF-8;
// its lines are "command NAME", "open PATH", "save PATH", "rotate", "count-and-send" and
// "settings".
#include <windows.h>

#include <commdlg.h>
#include <shellapi.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "PeltoHost.h"

namespace {

constexpr wchar_t ApplicationName[] = L"Sample Host";

std::wstring OwnPath() {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

/// What the window and the script can do.
class Host {
 public:
  Host(const std::wstring& program, std::wstring uploadAddress, const std::wstring& dataFolder,
       const std::wstring& logFolder)
      : uploadAddress_(std::move(uploadAddress)),
        sender_{program, dataFolder, logFolder},
        log_(logFolder, dataFolder) {}

  pelto::UsageLog& Log() { return log_; }
  pelto::Sender& Sender() { return sender_; }
  /// Counts and sends. It has all that it needs, so that a thread can outlive the host.
  std::function<void()> Counting() const {
    return [sender = sender_, address = uploadAddress_] {
      sender.CountAndSend(address, ApplicationName, OwnPath());
    };
  }

 private:
  std::wstring uploadAddress_;
  pelto::Sender sender_;
  pelto::UsageLog log_;
};

std::wstring FromUtf8(const std::string& text) {
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(),
                                                      static_cast<int>(text.size()), wide.data(),
                                                      static_cast<int>(wide.size()))));
  return wide;
}

/// Returns false for a line that is none of a script.
bool PlayLine(Host& host, const std::string& line) {
  const size_t space = line.find(' ');
  const std::string word = line.substr(0, space);
  const std::wstring rest = space == std::string::npos ? L"" : FromUtf8(line.substr(space + 1));
  if (word == "command") {
    host.Log().AddCommand(rest);
  } else if (word == "open") {
    host.Log().AddOpenedDocument(rest);
  } else if (word == "save") {
    host.Log().AddSavedDocument(rest);
  } else if (word == "rotate") {
    host.Log().Rotate();
  } else if (word == "count-and-send") {
    host.Counting()();
  } else if (word == "settings") {
    host.Sender().ShowSettings();
  } else {
    return false;
  }
  return true;
}

int Play(Host& host, const std::wstring& path) {
  std::ifstream script{std::filesystem::path(path)};
  if (!script) return 1;
  for (std::string line; std::getline(script, line);) {
    if (!PlayLine(host, line)) return 1;
  }
  return 0;
}

enum Button { DrawLine = 101, DrawCircle, AddText, Open, SaveAs, Settings, Close };

struct ButtonText {
  const wchar_t* text;
  Button button;
  int top;
};

constexpr ButtonText Buttons[] = {
    {L"&Line", DrawLine, 16},      {L"&Circle", DrawCircle, 50},
    {L"&Text", AddText, 84},       {L"&Open...", Open, 134},
    {L"&Save as...", SaveAs, 168}, {L"&Feedback settings...", Settings, 218},
    {L"C&lose", Close, 268},
};
constexpr int ButtonWidth = 160;
constexpr int ButtonHeight = 28;
constexpr SIZE ClientSize = {ButtonWidth + 32, 312};

/// The path that the user chooses; none without one.
std::optional<std::wstring> AskForPath(HWND window, bool forSaving) {
  wchar_t path[1024] = L"";
  OPENFILENAMEW question = {};
  question.lStructSize = sizeof question;
  question.hwndOwner = window;
  question.lpstrFilter = L"Drawings\0*.dwg;*.dxf;*.pdf\0All files\0*.*\0";
  question.lpstrFile = path;
  question.nMaxFile = static_cast<DWORD>(std::size(path));
  question.Flags = OFN_NOCHANGEDIR | OFN_HIDEREADONLY;
  const bool isChosen =
      forSaving ? GetSaveFileNameW(&question) != 0 : GetOpenFileNameW(&question) != 0;
  return isChosen ? std::optional(path) : std::nullopt;
}

void Press(Host& host, HWND window, int button) {
  switch (button) {
    case DrawLine:
      return host.Log().AddCommand(L"Line");
    case DrawCircle:
      return host.Log().AddCommand(L"Circle");
    case AddText:
      return host.Log().AddCommand(L"Text");
    case Open:
      if (const auto path = AskForPath(window, false)) host.Log().AddOpenedDocument(*path);
      return;
    case SaveAs:
      if (const auto path = AskForPath(window, true)) host.Log().AddSavedDocument(*path);
      return;
    case Settings:
      return host.Sender().ShowSettings();
    case Close:
    case IDCANCEL:
      DestroyWindow(window);
      return;
    default:
      return;
  }
}

LRESULT CALLBACK HandleMessage(HWND window, UINT message, WPARAM wide, LPARAM narrow) {
  if (message == WM_COMMAND) {
    auto* const host = reinterpret_cast<Host*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (host) Press(*host, window, LOWORD(wide));
    return 0;
  }
  if (message == WM_DESTROY) {
    PostQuitMessage(0);
    return 0;
  }
  return DefWindowProcW(window, message, wide, narrow);
}

HFONT MessageFont() {
  NONCLIENTMETRICSW metrics = {};
  metrics.cbSize = sizeof metrics;
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  return CreateFontIndirectW(&metrics.lfMessageFont);
}

HWND MakeWindow(HINSTANCE instance, Host& host) {
  WNDCLASSW windowClass = {};
  windowClass.lpfnWndProc = HandleMessage;
  windowClass.hInstance = instance;
  windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  windowClass.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
  windowClass.lpszClassName = L"SampleHost";
  RegisterClassW(&windowClass);
  constexpr DWORD style = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX;
  RECT area = {0, 0, ClientSize.cx, ClientSize.cy};
  AdjustWindowRect(&area, style, FALSE);
  const HWND window =
      CreateWindowExW(WS_EX_CONTROLPARENT, windowClass.lpszClassName, ApplicationName, style,
                      CW_USEDEFAULT, CW_USEDEFAULT, area.right - area.left, area.bottom - area.top,
                      nullptr, nullptr, instance, nullptr);
  if (!window) return nullptr;
  SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&host));
  // In use until the process ends.
  const HFONT font = MessageFont();
  for (const ButtonText& button : Buttons) {
    const HWND control = CreateWindowExW(
        0, L"BUTTON", button.text, WS_CHILD | WS_VISIBLE | WS_TABSTOP | BS_PUSHBUTTON, 16,
        button.top, ButtonWidth, ButtonHeight, window,
        reinterpret_cast<HMENU>(static_cast<INT_PTR>(button.button)), instance, nullptr);
    SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
  }
  return window;
}

int RunWindow(HINSTANCE instance, Host& host, int show) {
  // The logs of earlier sessions. The user does not wait for it, nor does the end of the window.
  std::thread(host.Counting()).detach();
  const HWND window = MakeWindow(instance, host);
  if (!window) return 1;
  ShowWindow(window, show);
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (IsDialogMessageW(window, &message)) continue;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  return 0;
}

std::vector<std::wstring> Arguments() {
  int count = 0;
  const std::unique_ptr<wchar_t*, decltype(&LocalFree)> texts(
      CommandLineToArgvW(GetCommandLineW(), &count), LocalFree);
  return texts ? std::vector<std::wstring>(texts.get(), texts.get() + count)
               : std::vector<std::wstring>();
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE /*previous*/, LPWSTR /*arguments*/,
                    int nShowCmd) {
  const std::vector<std::wstring> arguments = Arguments();
  if (arguments.size() != 5 && arguments.size() != 6) {
    MessageBoxW(nullptr, L"SampleHost SENDER ADDRESS DATA-FOLDER LOG-FOLDER [SCRIPT]",
                ApplicationName, MB_OK | MB_ICONINFORMATION);
    return 1;
  }
  Host host(arguments[1], arguments[2], arguments[3], arguments[4]);
  return arguments.size() == 6 ? Play(host, arguments[5]) : RunWindow(instance, host, nShowCmd);
}
