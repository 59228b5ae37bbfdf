// The modules of the sample as they are built: each has the program's own controls, and its texts
// fit them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Handles.h"
#include "platform/WindowsHeader.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestText.h"
#include "ui/resource.h"

namespace {

/// How much wider than here a text may be on Windows, whose fonts are others, in percent.
constexpr LONG Margin = 10;
/// What of a control's width is not there for its text, in pixels: the mark of a radio button or
/// check box with the space after it, and the border of a button with its spaces.
constexpr LONG MarkWidth = 17;
constexpr LONG BorderWidth = 12;

CLibraryHandle LoadResources(const std::wstring& path) {
  CLibraryHandle module(LoadLibraryExW(path.c_str(), nullptr /* reserved */,
                                       LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE));
  EXPECT_TRUE(module) << "error " << GetLastError();
  return module;
}

/// The paths of the modules.
std::vector<std::wstring> FindModules() {
  const std::wstring folder = ProgramFolder() + L"\\..\\samples\\language\\";
  std::vector<std::wstring> paths;
  WIN32_FIND_DATAW found;
  const CFindHandle search(FindFirstFileW((folder + L"LangExt.*.dll").c_str(), &found));
  if (!search) return paths;
  do {
    paths.push_back(folder + found.cFileName);
  } while (FindNextFileW(search.Get(), &found));
  return paths;
}

/// A hidden dialog made from a module's template.
class TemplateWindow {
 public:
  explicit TemplateWindow(HINSTANCE module)
      : window_(CreateDialogParamW(module, MAKEINTRESOURCEW(IDD_PELTO), nullptr /* no owner */,
                                   &HandleNothing, 0)) {
    EXPECT_NE(window_, nullptr) << "error " << GetLastError();
  }
  ~TemplateWindow() { DestroyWindow(window_); }
  TemplateWindow(const TemplateWindow&) = delete;
  TemplateWindow& operator=(const TemplateWindow&) = delete;

  operator HWND() const { return window_; }
  std::vector<HWND> GetControls() const {
    std::vector<HWND> controls;
    for (HWND control = GetWindow(window_, GW_CHILD); control != nullptr;
         control = GetWindow(control, GW_HWNDNEXT)) {
      controls.push_back(control);
    }
    return controls;
  }

 private:
  static INT_PTR CALLBACK HandleNothing(HWND, UINT, WPARAM, LPARAM) { return FALSE; }

  HWND window_;
};

std::wstring GetClass(HWND window) {
  wchar_t name[32] = L"";
  GetClassNameW(window, name, ARRAYSIZE(name));
  return name;
}

std::wstring GetText(HWND window) {
  std::wstring text(static_cast<size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(
      static_cast<size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
  return text;
}

/// A text for a message, in UTF-8.
std::string Readable(const std::wstring& text) {
  std::string bytes(text.size() * 3, '\0');
  bytes.resize(static_cast<size_t>(
      WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                          static_cast<int>(bytes.size()), nullptr, nullptr)));
  return bytes;
}

/// All of a control but its text; its place in the coordinates of the dialog, mirrored or not.
std::vector<LONG> GetProperties(HWND control) {
  RECT place;
  GetWindowRect(control, &place);
  MapWindowPoints(nullptr /* the screen */, GetParent(control), reinterpret_cast<POINT*>(&place),
                  2);
  // A mirrored dialog's controls are mirrored too.
  constexpr LONG Mirrored = WS_EX_LAYOUTRTL;
  return {GetDlgCtrlID(control),
          place.left,
          place.top,
          place.right,
          place.bottom,
          GetWindowLongW(control, GWL_STYLE),
          GetWindowLongW(control, GWL_EXSTYLE) & ~Mirrored};
}

SIZE GetSize(HWND window) {
  RECT area;
  GetClientRect(window, &area);
  return {area.right, area.bottom};
}

/// The size of the control's text, in lines no longer than `width` if the control breaks lines.
SIZE MeasureText(HWND control, LONG width) {
  const bool isStatic = GetClass(control) == L"Static";
  const bool breaksLines = isStatic ? GetDlgCtrlID(control) != IDC_PRIVACY_POLICY
                                    : GetWindowLongW(control, GWL_STYLE) & BS_MULTILINE;
  const HDC context = GetDC(control);
  SelectObject(context, reinterpret_cast<HFONT>(SendMessageW(control, WM_GETFONT, 0, 0)));
  RECT area = {0, 0, width, 0};
  const UINT lines = breaksLines ? DT_WORDBREAK : DT_SINGLELINE;
  DrawTextW(context, GetText(control).c_str(), -1, &area, DT_CALCRECT | lines);
  ReleaseDC(control, context);
  return {area.right, area.bottom};
}

LONG GetWidthForText(HWND control) {
  const LONG width = GetSize(control).cx;
  if (GetClass(control) == L"Static") return width;
  const LONG kind = GetWindowLongW(control, GWL_STYLE) & BS_TYPEMASK;
  return width - (kind == BS_PUSHBUTTON || kind == BS_DEFPUSHBUTTON ? BorderWidth : MarkWidth);
}

class Modules : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GE(paths_.size(), 7U);
    ASSERT_TRUE(program_);
  }

  const std::vector<std::wstring> paths_ = FindModules();
  const CLibraryHandle program_ = LoadResources(ProgramFolder() + L"\\..\\PELTOSender.exe");
};

TEST_F(Modules, HaveTheProgramsControlsInTheSameOrderPlacesAndStyles) {
  const TemplateWindow own(program_.Get());
  for (const std::wstring& path : paths_) {
    SCOPED_TRACE(Readable(path));
    const CLibraryHandle module = LoadResources(path);
    const TemplateWindow window(module.Get());
    EXPECT_EQ(GetSize(window).cx, GetSize(own).cx);
    EXPECT_EQ(GetSize(window).cy, GetSize(own).cy);
    EXPECT_EQ(GetWindowLongW(window, GWL_STYLE), GetWindowLongW(own, GWL_STYLE));
    EXPECT_EQ(GetWindowLongW(window, GWL_EXSTYLE) & ~LONG{WS_EX_LAYOUTRTL},
              GetWindowLongW(own, GWL_EXSTYLE));
    const std::vector<HWND> controls = window.GetControls();
    const std::vector<HWND> owns = own.GetControls();
    ASSERT_EQ(controls.size(), owns.size());
    for (size_t index = 0; index < owns.size(); ++index) {
      EXPECT_EQ(GetProperties(controls[index]), GetProperties(owns[index]));
      EXPECT_EQ(GetClass(controls[index]), GetClass(owns[index]));
      EXPECT_EQ(GetText(controls[index]).empty(), GetText(owns[index]).empty());
    }
  }
}

TEST_F(Modules, HaveTextsThatFitTheirControlsWithAMarginForOtherFonts) {
  for (const std::wstring& path : paths_) {
    SCOPED_TRACE(Readable(path));
    const CLibraryHandle module = LoadResources(path);
    const TemplateWindow window(module.Get());
    for (const HWND control : window.GetControls()) {
      // A text in a narrower control needs as many lines as a wider text in the control.
      const LONG width = GetWidthForText(control) * 100 / (100 + Margin);
      const SIZE text = MeasureText(control, width);
      EXPECT_LE(text.cx, width) << Readable(GetText(control));
      EXPECT_LE(text.cy, GetSize(control).cy) << Readable(GetText(control));
    }
  }
}

TEST_F(Modules, AreMeasuredInAFontThatBreaksATextThatIsTooLong) {
  const CLibraryHandle module = LoadResources(paths_.front());
  const TemplateWindow window(module.Get());
  const HWND title = GetDlgItem(window, IDC_TITLE);
  const LONG width = GetWidthForText(title);
  SetWindowTextW(title, L"i");
  const SIZE one = MeasureText(title, width);
  EXPECT_GT(one.cx, 0);
  SetWindowTextW(title, L"W");
  EXPECT_GT(MeasureText(title, width).cx, one.cx);
  std::wstring words;
  for (int count = 0; count < 60; ++count) words += L"W ";
  SetWindowTextW(title, words.c_str());
  EXPECT_GT(MeasureText(title, width).cy, GetSize(title).cy);
  // The link and the buttons other than "Yes" do not break lines.
  for (const int id : {IDC_PRIVACY_POLICY, IDC_DECLINE, IDC_SILENCE, IDOK}) {
    const HWND control = GetDlgItem(window, id);
    SetWindowTextW(control, words.c_str());
    EXPECT_GT(MeasureText(control, width).cx, width) << id;
  }
}

}  // namespace
