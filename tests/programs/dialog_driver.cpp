// Drives the consent dialog of another process through its window, as assistive tools do. Reads a
// command per line from its standard input and writes a line of JSON for each:
//
//   wait MILLISECONDS        whether a dialog is visible within this time; the other commands use
//                            it. If it does not respond for ten seconds, this program ends
//   gone MILLISECONDS        whether it is gone within this time
//   opacities MILLISECONDS   the dialog's opacities, each as it changes, until none has changed for
//                            this time
//   window                   the visible properties of the dialog
//   control ID               the visible properties of one of its controls, with the size of its
//                            text, or null
//   controls                 the same of all its controls, in the order of the Tab key
//   click ID                 clicks a button as the mouse or the space bar does
//   text ID TEXT             replaces a control's text (UTF-8, up to the end of the line)
//   command ID               sends the notification of a click on the button ID
//   close                    asks it to close, as the system menu does
//   timer ID                 sends it a timer's message
//   hit X Y                  its result of a hit test at a point of the screen
#include "platform/WindowsHeader.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr DWORD PollMilliseconds = 5;
constexpr size_t TextLimit = 40'000;

constexpr UINT ResponseMilliseconds = 10'000;

HWND dialog = nullptr;

/// Sends a message to a window of another process, which may not respond.
LRESULT Send(HWND window, UINT message, WPARAM first = 0, LPARAM second = 0) {
  DWORD_PTR result = 0;
  if (!SendMessageTimeoutW(window, message, first, second, SMTO_ABORTIFHUNG, ResponseMilliseconds,
                           &result) &&
      GetLastError() == ERROR_TIMEOUT) {
    std::exit(1);
  }
  return static_cast<LRESULT>(result);
}

std::wstring FromUtf8(const std::string& text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  wide.resize(
      static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
  return wide;
}

/// A JSON text; everything but printable ASCII is escaped.
std::string Quoted(const std::wstring& text) {
  std::string quoted = "\"";
  for (const wchar_t character : text) {
    if (character >= L' ' && character <= L'~' && character != L'"' && character != L'\\') {
      quoted += static_cast<char>(character);
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
      quoted += escape;
    }
  }
  return quoted + '"';
}

std::string Bool(bool value) {
  return value ? "true" : "false";
}

BOOL CALLBACK FindVisibleDialog(HWND window, LPARAM found) {
  wchar_t name[16];
  GetClassNameW(window, name, ARRAYSIZE(name));
  if (std::wstring(name) != L"#32770" || !IsWindowVisible(window)) return TRUE;
  *reinterpret_cast<HWND*>(found) = window;
  return FALSE;
}

std::string Wait(DWORD milliseconds, bool appears) {
  for (const ULONGLONG start = GetTickCount64();;) {
    if (appears) {
      dialog = nullptr;
      EnumWindows(&FindVisibleDialog, reinterpret_cast<LPARAM>(&dialog));
    }
    if (appears ? dialog != nullptr : !IsWindow(dialog)) return Bool(true);
    if (GetTickCount64() - start >= milliseconds) return Bool(false);
    Sleep(PollMilliseconds);
  }
}

std::string Rectangle(const RECT& area) {
  std::ostringstream text;
  text << '[' << area.left << ',' << area.top << ',' << area.right - area.left << ','
       << area.bottom - area.top << ']';
  return text.str();
}

/// The properties that windows and controls share.
std::string Common(HWND window, const RECT& area) {
  std::ostringstream text;
  text << "\"style\":" << static_cast<DWORD>(GetWindowLongW(window, GWL_STYLE))
       << ",\"exstyle\":" << static_cast<DWORD>(GetWindowLongW(window, GWL_EXSTYLE))
       << ",\"visible\":" << Bool(IsWindowVisible(window))
       << ",\"enabled\":" << Bool(IsWindowEnabled(window)) << ",\"area\":" << Rectangle(area);
  return text.str();
}

std::string TextOf(HWND window) {
  std::wstring text(TextLimit, L'\0');
  text.resize(static_cast<size_t>(
      Send(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()))));
  return Quoted(text);
}

/// The width and height of a control's text, broken into lines where the control would break it.
std::string TextSize(HWND control, const std::wstring& className, LONG width) {
  // The mark of a radio button or check box, and the space after it.
  constexpr LONG MarkWidth = 20;
  const LONG mark = className == L"Button" ? MarkWidth : 0;
  wchar_t text[1024];
  Send(control, WM_GETTEXT, ARRAYSIZE(text), reinterpret_cast<LPARAM>(text));
  const HDC context = GetDC(control);
  // The font of the template; the control's own font belongs to another process.
  static const HFONT font =
      CreateFontW(-MulDiv(8, GetDeviceCaps(context, LOGPIXELSY), 72), 0, 0, 0, FW_NORMAL, 0, 0, 0,
                  DEFAULT_CHARSET, 0, 0, 0, 0, L"MS Shell Dlg");
  SelectObject(context, font);
  RECT area = {0, 0, width - mark, 0};
  DrawTextW(context, text, -1, &area, DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX);
  ReleaseDC(control, context);
  return '[' + std::to_string(area.right + mark) + ',' + std::to_string(area.bottom) + ']';
}

std::string Window() {
  RECT area;
  RECT client;
  GetWindowRect(dialog, &area);
  GetClientRect(dialog, &client);
  BYTE opacity = 0;
  DWORD flags = 0;
  COLORREF key = 0;
  GetLayeredWindowAttributes(dialog, &key, &opacity, &flags);
  GUITHREADINFO thread = {};
  thread.cbSize = sizeof thread;
  GetGUIThreadInfo(GetWindowThreadProcessId(dialog, nullptr), &thread);
  std::ostringstream text;
  text << '{' << Common(dialog, area) << ",\"client\":" << Rectangle(client)
       << ",\"opacity\":" << int{opacity} << ",\"flags\":" << flags << ",\"key\":" << key
       << ",\"text\":" << TextOf(dialog) << ",\"focus\":" << GetDlgCtrlID(thread.hwndFocus) << '}';
  return text.str();
}

std::string Control(HWND control) {
  if (control == nullptr) return "null";
  wchar_t name[64];
  GetClassNameW(control, name, ARRAYSIZE(name));
  RECT area;
  GetWindowRect(control, &area);
  MapWindowPoints(nullptr /* the screen */, dialog, reinterpret_cast<POINT*>(&area), 2);
  return "{\"id\":" + std::to_string(static_cast<SHORT>(GetDlgCtrlID(control))) +
         ",\"class\":" + Quoted(name) + ",\"text\":" + TextOf(control) +
         ",\"size\":" + TextSize(control, name, area.right - area.left) +
         ",\"checked\":" + std::to_string(Send(control, BM_GETCHECK)) + ',' +
         Common(control, area) + '}';
}

std::string Controls() {
  std::string list;
  for (HWND control = GetWindow(dialog, GW_CHILD); control != nullptr;
       control = GetWindow(control, GW_HWNDNEXT)) {
    list += (list.empty() ? "" : ",") + Control(control);
  }
  return '[' + list + ']';
}

std::string Opacities(DWORD milliseconds) {
  std::string list;
  int last = -1;
  ULONGLONG changed = GetTickCount64();
  while (GetTickCount64() - changed < milliseconds) {
    BYTE opacity = 0;
    if (!GetLayeredWindowAttributes(dialog, nullptr, &opacity, nullptr) || opacity == last)
      continue;
    last = opacity;
    changed = GetTickCount64();
    list += (list.empty() ? "" : ",") + std::to_string(last);
  }
  return '[' + list + ']';
}

std::string Execute(std::istream& arguments) {
  std::string command;
  arguments >> command;
  if (command == "window") return Window();
  if (command == "controls") return Controls();
  if (command == "close") return Bool(PostMessageW(dialog, WM_CLOSE, 0, 0));

  int number = 0;
  arguments >> number;
  const HWND control = GetDlgItem(dialog, number);
  if (command == "wait") return Wait(static_cast<DWORD>(number), true);
  if (command == "gone") return Wait(static_cast<DWORD>(number), false);
  if (command == "opacities") return Opacities(static_cast<DWORD>(number));
  if (command == "control") return Control(control);
  if (command == "click") return Bool(PostMessageW(control, BM_CLICK, 0, 0));
  if (command == "timer") {
    Send(dialog, WM_TIMER, static_cast<WPARAM>(number), 0);
    return Bool(true);
  }
  if (command == "command") {
    return Bool(PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(static_cast<WORD>(number), BN_CLICKED),
                             reinterpret_cast<LPARAM>(control)));
  }
  if (command == "text") {
    arguments.get();
    std::string text;
    std::getline(arguments, text);
    return Bool(Send(control, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(FromUtf8(text).c_str())) !=
                0);
  }
  if (command == "hit") {
    int top = 0;
    arguments >> top;
    return std::to_string(Send(dialog, WM_NCHITTEST, 0, MAKELPARAM(number, top)));
  }
  return "\"no such command\"";
}

}  // namespace

int main() {
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream arguments(line);
    std::cout << Execute(arguments) << '\n' << std::flush;
  }
  return 0;
}
