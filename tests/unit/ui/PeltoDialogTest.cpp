#include "ui/PeltoDialog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/Handles.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FakeClock.h"
#include "tests/support/PlainWindow.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/ui/Recorders.h"
#include "ui/BackgroundPicture.h"
#include "ui/resource.h"

extern "C" void* __imp_DrawIcon;
extern "C" void* __imp_SetTimer;
extern "C" void* __imp_WritePrivateProfileStringW;

namespace {

constexpr UINT_PTR FadeTimer = 1026;

using IconRecorder = CallRecorder<__imp_DrawIcon, decltype(DrawIcon)>;
using TimerRecorder = CallRecorder<__imp_SetTimer, decltype(SetTimer)>;
using SettingsRecorder =
    CallRecorder<__imp_WritePrivateProfileStringW, decltype(WritePrivateProfileStringW)>;

/// Gives access to the dialog and records the opacities that timers apply.
class TestDialog : public PeltoDialog {
 public:
  using PeltoDialog::background_;
  using PeltoDialog::layered_;
  using PeltoDialog::LayeredCalls;
  using PeltoDialog::OnEraseBkgnd;
  using PeltoDialog::PeltoDialog;

  HWND GetControl(int id) const { return GetDlgItem(m_hWnd, id); }
  bool HasControl(int id) const { return GetControl(id) != nullptr; }
  bool IsButtonChecked(int id) const { return IsDlgButtonChecked(m_hWnd, id) == BST_CHECKED; }
  int GetOpacity() const {
    BYTE opacity = 0;
    DWORD flags = 0;
    COLORREF key = 1;
    if (!GetLayeredWindowAttributes(m_hWnd, &key, &opacity, &flags)) return -1;
    EXPECT_EQ(flags, DWORD{LWA_ALPHA});
    EXPECT_EQ(key, 0U);
    return opacity;
  }

  /// The messages that reached the window's own procedure.
  std::vector<std::pair<UINT, WPARAM>> defaults;
  /// Results instead of those of that procedure, by message.
  std::map<UINT, LRESULT> defaultResults;
  std::vector<int> opacities;
  /// The number of fade steps and the time of the initialization and of the last step.
  int fadeSteps = 0;
  ULONGLONG initTime = 0;
  ULONGLONG lastStepTime = 0;
  BOOL initResult = FALSE;
  /// Called in OnInitDialog, before and after the dialog's own initialization.
  std::function<void()> beforeInit;
  std::function<void()> afterInit;
  /// Called before each message is handled.
  std::function<void(UINT message, WPARAM first, LPARAM second)> onMessage;

 protected:
  BOOL OnInitDialog() override {
    if (beforeInit) beforeInit();
    initTime = GetTickCount64();
    initResult = PeltoDialog::OnInitDialog();
    opacities.push_back(GetOpacity());
    if (afterInit) afterInit();
    return initResult;
  }
  LRESULT WindowProc(UINT message, WPARAM first, LPARAM second) override {
    if (onMessage) onMessage(message, first, second);
    const LRESULT result = PeltoDialog::WindowProc(message, first, second);
    if (message == WM_TIMER) {
      if (first == FadeTimer) ++fadeSteps;
      opacities.push_back(GetOpacity());
      lastStepTime = GetTickCount64();
    }
    return result;
  }
  LRESULT DefWindowProc(UINT message, WPARAM first, LPARAM second) override {
    defaults.emplace_back(message, first);
    const auto result = defaultResults.find(message);
    if (result != defaultResults.end()) return result->second;
    return PeltoDialog::DefWindowProc(message, first, second);
  }
};

/// Makes `module` the program, from which the framework loads resources.
void StartProgram(HINSTANCE module) {
  class Program : public CWinApp {
    BOOL InitInstance() override { return FALSE; }
  };
  Program program;
  AfxWinMain(module);
}

using Settings = std::vector<std::pair<std::wstring, std::wstring>>;

/// The keys and values that were written to the section General.
Settings GetWrittenSettings() {
  Settings written;
  for (const auto& [section, key, value, file] : SettingsRecorder::calls) {
    EXPECT_EQ(section, L"General");
    written.emplace_back(key.value_or(L"(none)"), value.value_or(L"(none)"));
  }
  return written;
}

/// A module of the sample of translations, from the tests' folder.
const wchar_t* const Translation = L"..\\samples\\language\\LangExt.de.dll";

class ConsentDialog : public testing::Test {
 protected:
  void SetUp() override {
    StartProgram(program_);
    ASSERT_TRUE(store_.Open(folder_.Path().wstring()));
  }
  void TearDown() override {
    StartProgram(program_);
    TestDialog::layered_ = {};
  }

  /// Shows a new dialog, calls `look` and ends the dialog without an answer.
  void Show(const std::function<void(TestDialog&)>& look = [](TestDialog&) {}) {
    TestDialog dialog(&store_, 0, 0);
    ShowModal(dialog, [&](HWND) { look(dialog); });
  }
  /// Shows a new dialog, calls `act` and clicks OK.
  void ShowAndClickOk(const std::function<void(HWND)>& act = [](HWND) {}) {
    TestDialog dialog(&store_, 0, 0);
    EXPECT_EQ(RunModal(dialog, act, [](HWND window) { Click(window, IDOK); }), IDOK);
  }

  static CLibraryHandle Load(const wchar_t* name) {
    CLibraryHandle library(LoadLibraryW((ProgramFolder() + L"\\" + name).c_str()));
    EXPECT_TRUE(library) << GetLastError();
    return library;
  }
  /// Makes a test library the current resource module.
  static CLibraryHandle Localize(const wchar_t* name) {
    CLibraryHandle library = Load(name);
    AfxSetResourceHandle(library.Get());
    return library;
  }

  /// The e-mail address in the settings file. Reading it through the store has a limit of its own.
  std::wstring GetStoredEmail() const {
    const std::string settings = ReadBytes(folder_ / L"PeltoReport.ini");
    const size_t start = settings.find("\nEmail=") + 7;
    return {settings.begin() + static_cast<std::ptrdiff_t>(start),
            settings.begin() + static_cast<std::ptrdiff_t>(settings.find('\r', start))};
  }

  const HINSTANCE program_ = GetModuleHandleW(nullptr);
  TempFolder folder_;
  FakeClock clock_;
  CommandStats commands_;
  FileTypeStats fileTypes_;
  CReportStore store_{commands_, fileTypes_, clock_};
};

// The shipped resources.

/// Reads the bytes of a dialog template.
class TemplateReader {
 public:
  explicit TemplateReader(const void* bytes) : start_(static_cast<const BYTE*>(bytes)) {}

  template <typename Number>
  Number Read() {
    Number number;
    std::memcpy(&number, start_ + position_, sizeof number);
    position_ += sizeof number;
    return number;
  }
  /// A text, or "#" and a number.
  std::wstring ReadName() {
    std::wstring name;
    for (WORD unit = Read<WORD>(); unit != 0; unit = Read<WORD>()) {
      if (unit == 0xFFFF) return L"#" + std::to_wstring(Read<WORD>());
      name += static_cast<wchar_t>(unit);
    }
    return name;
  }
  /// Left, top, width and height in dialog units.
  std::vector<int> ReadRectangle() {
    std::vector<int> rectangle;
    for (int side = 0; side < 4; ++side) rectangle.push_back(Read<SHORT>());
    return rectangle;
  }
  /// Continues at a multiple of four bytes.
  void Align() { position_ = (position_ + 3) / 4 * 4; }

 private:
  const BYTE* start_;
  size_t position_ = 0;
};

/// The languages of the dialog template.
std::vector<LANGID> GetTemplateLanguages() {
  std::vector<LANGID> languages;
  EnumResourceLanguagesW(
      GetModuleHandleW(nullptr), RT_DIALOG, MAKEINTRESOURCEW(IDD_PELTO),
      [](HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR found) -> BOOL {
        reinterpret_cast<std::vector<LANGID>*>(found)->push_back(language);
        return TRUE;
      },
      reinterpret_cast<LONG_PTR>(&languages));
  return languages;
}

/// String 102 of a module.
std::wstring GetAddress(HINSTANCE module) {
  wchar_t address[512] = L"";
  EXPECT_GT(LoadStringW(module, IDS_PRIVACY_POLICY, address, 512), 0);
  return address;
}

// The only test that knows the shipped texts.
TEST(ShippedTemplate, HasItsLanguageTextsRectanglesAndStylesToTheLetter) {
  constexpr LANGID AmericanEnglish = 1033;
  EXPECT_EQ(GetTemplateLanguages(), std::vector<LANGID>{AmericanEnglish});
  const HRSRC resource =
      FindResourceExW(nullptr, RT_DIALOG, MAKEINTRESOURCEW(IDD_PELTO), AmericanEnglish);
  ASSERT_NE(resource, nullptr) << GetLastError();

  TemplateReader reader(LockResource(LoadResource(nullptr, resource)));
  EXPECT_EQ(reader.Read<WORD>(), 1) << "version";
  EXPECT_EQ(reader.Read<WORD>(), 0xFFFF) << "signature of the extended form";
  EXPECT_EQ(reader.Read<DWORD>(), 0U) << "help";
  EXPECT_EQ(reader.Read<DWORD>(), DWORD{WS_EX_TOPMOST});
  EXPECT_EQ(reader.Read<DWORD>(),
            DWORD{WS_POPUP | WS_BORDER | WS_SYSMENU | DS_SETFONT | DS_FIXEDSYS});
  const WORD count = reader.Read<WORD>();
  EXPECT_EQ(reader.ReadRectangle(), (std::vector<int>{0, 0, 502, 274}));
  EXPECT_EQ(reader.ReadName(), L"") << "menu";
  EXPECT_EQ(reader.ReadName(), L"") << "class";
  EXPECT_EQ(reader.ReadName(), L"") << "caption";
  EXPECT_EQ(reader.Read<WORD>(), 8) << "points";
  EXPECT_EQ(reader.Read<WORD>(), FW_NORMAL);
  EXPECT_EQ(reader.Read<WORD>(), 0x100) << "not italic, default character set";
  EXPECT_EQ(reader.ReadName(), L"MS Shell Dlg");

  const wchar_t* const Introduction =
      L"Join the Customer Feedback Program(PELTO) and reap the benefits. The system and usage data "
      L"you share enables Quintar to identify product improvements and helps us personalize your "
      L"experience with the software.";
  const wchar_t* const Consent =
      L"Yes, I would like to participate in PELTO. I have read the Quintar Privacy Policy  and "
      L"agree "
      L"to the use, processing and storage of my personal data in accordance with the policy.";
  constexpr DWORD Radio = BS_AUTORADIOBUTTON;
  constexpr DWORD Field = WS_BORDER | WS_TABSTOP | ES_AUTOHSCROLL;
  constexpr DWORD CheckBox = BS_AUTOCHECKBOX | WS_TABSTOP;
  constexpr DWORD Below = WS_EX_TRANSPARENT;
  const wchar_t* const Button = L"#128";
  const wchar_t* const NamedButton = L"BUTTON";
  const wchar_t* const Edit = L"#129";
  const wchar_t* const Text = L"#130";
  const struct {
    int id;
    std::wstring kind, text;
    std::vector<int> rectangle;
    DWORD style, extendedStyle;
  } Controls[] = {
      {IDOK, Button, L"OK", {427, 253, 50, 14}, BS_DEFPUSHBUTTON | WS_TABSTOP, 0},
      {1005, Text, L"Improve Your Product Experience", {294, 33, 184, 16}, WS_GROUP, 0},
      {-1, Text, Introduction, {258, 52, 219, 35}, WS_GROUP, 0},
      {1001, NamedButton, Consent, {264, 96, 187, 41}, Radio | BS_MULTILINE | BS_TOP, Below},
      {1002, NamedButton, L"No, thanks.", {264, 202, 53, 10}, Radio, Below},
      {1003, Text, L"Privacy Policy", {274, 139, 44, 8}, WS_GROUP, Below},
      {-1, Text, L"Email Address (Optional)", {274, 155, 79, 8}, WS_GROUP, Below},
      {1004, Edit, L"", {274, 166, 177, 14}, Field, 0},
      {1008, Button, L"Remind me later", {347, 253, 69, 14}, WS_TABSTOP, 0},
      {1009, Button, L"Don't show this message again", {264, 255, 114, 10}, CheckBox, 0},
  };
  ASSERT_EQ(count, std::size(Controls));
  for (const auto& control : Controls) {
    reader.Align();
    EXPECT_EQ(reader.Read<DWORD>(), 0U) << "help";
    EXPECT_EQ(reader.Read<DWORD>(), control.extendedStyle) << control.id;
    EXPECT_EQ(reader.Read<DWORD>(), control.style | WS_CHILD | WS_VISIBLE) << control.id;
    EXPECT_EQ(reader.ReadRectangle(), control.rectangle) << control.id;
    EXPECT_EQ(reader.Read<int>(), control.id);
    EXPECT_EQ(reader.ReadName(), control.kind) << control.id;
    EXPECT_EQ(reader.ReadName(), control.text);
    EXPECT_EQ(reader.Read<WORD>(), 0) << "further data";
  }
  EXPECT_EQ(GetAddress(nullptr), L"https://www.quintar.example/privacy");
}

SIZE SizeOf(HBITMAP picture) {
  BITMAP description = {};
  GetObjectW(picture, sizeof description, &description);
  return {description.bmWidth, description.bmHeight};
}

TEST_F(ConsentDialog, IsAsLargeAsItsPicture) {
  Show([](TestDialog& dialog) {
    RECT area;
    GetClientRect(dialog.m_hWnd, &area);
    EXPECT_EQ(area.right, SizeOf(TestDialog::background_).cx);
    EXPECT_EQ(area.bottom, SizeOf(TestDialog::background_).cy);
  });
}

// Where its resources come from.

/// The address that the shown dialog's link opens on a click.
std::wstring GetAddressOfLink(const TestDialog& dialog) {
  const HWND link = dialog.GetControl(IDC_PRIVACY_POLICY);
  // Before the first paint, a click opens nothing.
  RedrawWindow(link, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
  const ShellRecorder shell;
  SendMessageW(link, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(3, 3));
  EXPECT_EQ(shell.calls.size(), 1U);
  return shell.calls.empty() ? L"(none)" : std::get<2>(shell.calls[0]).value_or(L"(null)");
}

HICON IconOf(HINSTANCE module) {
  return LoadIconW(module, MAKEINTRESOURCEW(IDI_PELTO));
}

/// The dialog has this icon in both sizes.
void ExpectIcon(const TestDialog& dialog, HICON icon) {
  for (const WPARAM size : {WPARAM{ICON_BIG}, WPARAM{ICON_SMALL}}) {
    EXPECT_EQ(reinterpret_cast<HICON>(SendMessageW(dialog.m_hWnd, WM_GETICON, size, 0)), icon);
  }
}

TEST_F(ConsentDialog, TakesEverythingFromTheProgramWithoutALocalizedModule) {
  TestDialog::background_ = nullptr;
  Show([this](TestDialog& dialog) {
    EXPECT_TRUE(dialog.HasControl(IDC_TITLE));
    EXPECT_EQ(GetAddressOfLink(dialog), GetAddress(program_));
    EXPECT_NE(IconOf(program_), nullptr);
    ExpectIcon(dialog, IconOf(program_));
    EXPECT_NE(TestDialog::background_, nullptr);
  });
}

TEST_F(ConsentDialog, TakesItsArtworkFromTheProgramWhenTheLocalizedModuleHasNone) {
  const CLibraryHandle texts = Localize(L"bare_dialog.dll");
  TestDialog::background_ = nullptr;
  Show([this](TestDialog& dialog) {
    EXPECT_FALSE(dialog.HasControl(IDC_TITLE)) << "the dialog is the module's";
    ExpectIcon(dialog, IconOf(program_));
    EXPECT_NE(TestDialog::background_, nullptr);
  });
}

TEST_F(ConsentDialog, TakesItsAddressFromTheProgramWhenTheLocalizedModuleHasNone) {
  const CLibraryHandle texts = Localize(L"linked_dialog.dll");
  Show([this](TestDialog& dialog) {
    EXPECT_FALSE(dialog.HasControl(IDC_TITLE)) << "the dialog is the module's";
    EXPECT_EQ(GetAddressOfLink(dialog), GetAddress(program_));
  });
}

TEST_F(ConsentDialog, TakesTheLocalizedModulesDialogAndAddress) {
  std::wstring title;
  Show([&title](TestDialog& dialog) { title = GetText(dialog.m_hWnd, IDC_TITLE); });
  const CLibraryHandle texts = Localize(Translation);
  EXPECT_NE(GetAddress(texts.Get()), GetAddress(program_));
  Show([&](TestDialog& dialog) {
    EXPECT_TRUE(dialog.HasControl(IDC_TITLE));
    EXPECT_NE(GetText(dialog.m_hWnd, IDC_TITLE), title);
    EXPECT_EQ(GetAddressOfLink(dialog), GetAddress(texts.Get()));
  });
}

TEST_F(ConsentDialog, TakesTheLocalizedModulesArtworkAndTheProgramsDialogAndAddress) {
  const CLibraryHandle artwork = Localize(L"own_artwork.dll");
  Show([this, &artwork](TestDialog& dialog) {
    EXPECT_TRUE(dialog.HasControl(IDC_TITLE));
    EXPECT_EQ(GetAddressOfLink(dialog), GetAddress(program_));
    EXPECT_NE(IconOf(artwork.Get()), IconOf(program_));
    ExpectIcon(dialog, IconOf(artwork.Get()));
    EXPECT_EQ(SizeOf(TestDialog::background_).cx, 2);
    EXPECT_EQ(SizeOf(TestDialog::background_).cy, 2);
  });
}

TEST_F(ConsentDialog, LoadsItsIconWhenItIsConstructed) {
  const CLibraryHandle artwork = Localize(L"own_artwork.dll");
  TestDialog dialog(&store_, 0, 0);
  AfxSetResourceHandle(program_);
  ShowModal(dialog, [&](HWND) { ExpectIcon(dialog, IconOf(artwork.Get())); });
}

TEST_F(ConsentDialog, WorksWithoutArtworkAndAddress) {
  const CLibraryHandle program = Load(L"linked_dialog.dll");
  StartProgram(program.Get());
  TestDialog::background_ = nullptr;
  Show([](TestDialog& dialog) {
    ExpectIcon(dialog, nullptr);
    EXPECT_EQ(TestDialog::background_, nullptr);
    EXPECT_EQ(GetAddressOfLink(dialog), L"");
  });
}

TEST_F(ConsentDialog, KeepsTheLastPictureWhenItsOwnIsMissingOrDamaged) {
  const HBITMAP before = CreateBitmap(3, 1, 1 /* plane */, 1 /* bit per pixel */, nullptr);
  TestDialog::background_ = before;
  {
    const CLibraryHandle damaged = Localize(L"damaged_picture.dll");
    Show();
    EXPECT_EQ(TestDialog::background_, before);
    const CLibraryHandle withoutPicture = Load(L"linked_dialog.dll");
    StartProgram(withoutPicture.Get());
    Show();
  }
  EXPECT_EQ(TestDialog::background_, before);
  EXPECT_EQ(SizeOf(before).cx, 3);
  TestDialog::background_ = nullptr;
  DeleteObject(before);
}

TEST_F(ConsentDialog, PutsANewPictureInThePlaceOfTheLastAndKeepsThat) {
  const HBITMAP before = CreateBitmap(1, 1, 1 /* plane */, 1 /* bit per pixel */, nullptr);
  TestDialog::background_ = before;
  Show();
  EXPECT_NE(TestDialog::background_, before);
  EXPECT_EQ(GetObjectType(before), DWORD{OBJ_BITMAP});
  DeleteObject(before);
}

// Its start.

std::vector<std::string> initEvents;

TEST_F(ConsentDialog, IsInitializedInItsOrder) {
  class ExchangingDialog : public TestDialog {
   public:
    using TestDialog::TestDialog;

   protected:
    void DoDataExchange(CDataExchange* exchange) override {
      TestDialog::DoDataExchange(exchange);
      initEvents.emplace_back("exchange");
    }
  };
  TestDialog::layered_ = {true,
                          [](HWND, COLORREF, BYTE opacity, DWORD) -> BOOL {
                            initEvents.push_back("opacity " + std::to_string(opacity));
                            return TRUE;
                          },
                          nullptr};
  ExchangingDialog dialog(&store_, 0, 1);
  dialog.beforeInit = [] { initEvents.clear(); };
  dialog.onMessage = [](UINT message, WPARAM first, LPARAM second) {
    if (message == WM_STYLECHANGED && static_cast<int>(first) == GWL_EXSTYLE) {
      const auto& style = *reinterpret_cast<const STYLESTRUCT*>(second);
      if (style.styleNew & ~style.styleOld & WS_EX_LAYERED) initEvents.emplace_back("layered");
    }
    if (message == WM_MOVE) initEvents.emplace_back("moved");
    if (message == WM_SETICON) initEvents.push_back(first == ICON_BIG ? "big icon" : "small icon");
    if (message == WM_SETTEXT) initEvents.emplace_back("named");
  };
  dialog.afterInit = [] {
    EXPECT_EQ(initEvents, (std::vector<std::string>{"exchange", "layered", "opacity 245", "moved",
                                                    "big icon", "small icon", "named"}));
  };
  ShowModal(dialog);
  EXPECT_FALSE(initEvents.empty());
}

TEST_F(ConsentDialog, LeavesTheFocusToTheSystem) {
  Show([](TestDialog& dialog) {
    EXPECT_EQ(GetFocus(), dialog.GetControl(IDOK));
    EXPECT_EQ(dialog.initResult, TRUE);
  });
}

TEST_F(ConsentDialog, HidesItselfUntilItIsInitialized) {
  TestDialog dialog(&store_, 0, 0);
  dialog.beforeInit = [&dialog] {
    dialog.ShowWindow(SW_SHOWNA);
    EXPECT_TRUE(dialog.IsWindowVisible());
  };
  dialog.afterInit = [&dialog] { EXPECT_FALSE(dialog.IsWindowVisible()); };
  ShowModal(dialog);
}

TEST_F(ConsentDialog, IsNamedAfterItsTitleForTheTaskbarAndScreenReaders) {
  const auto expectTitle = [](TestDialog& dialog) {
    EXPECT_NE(GetText(dialog.m_hWnd), L"");
    EXPECT_EQ(GetText(dialog.m_hWnd), GetText(dialog.m_hWnd, IDC_TITLE));
  };
  Show(expectTitle);
  {
    const CLibraryHandle texts = Localize(Translation);
    Show(expectTitle);
  }
  const CLibraryHandle withoutTitle = Localize(L"bare_dialog.dll");
  Show([](TestDialog& dialog) { EXPECT_EQ(GetText(dialog.m_hWnd), L""); });
}

TEST_F(ConsentDialog, StartsTheGroupOfTheRadioButtonsWithYes) {
  Show([](TestDialog& dialog) {
    EXPECT_TRUE(GetWindowLongW(dialog.GetControl(IDC_PARTICIPATE), GWL_STYLE) & WS_GROUP);
    EXPECT_FALSE(GetWindowLongW(dialog.GetControl(IDC_DECLINE), GWL_STYLE) & WS_GROUP);
  });
}

TEST_F(ConsentDialog, OpensWithTheStoredAnswer) {
  const auto expectOpened = [this](bool participates, const std::wstring& email, bool silenced) {
    Show([&](TestDialog& dialog) {
      EXPECT_EQ(dialog.IsButtonChecked(IDC_PARTICIPATE), participates);
      EXPECT_EQ(dialog.IsButtonChecked(IDC_DECLINE), !participates);
      EXPECT_EQ(GetText(dialog.m_hWnd, IDC_EMAIL), email);
      EXPECT_EQ(dialog.IsButtonChecked(IDC_SILENCE), silenced);
    });
  };
  expectOpened(false, L"", false);
  for (const int state : {0, 1, 2, 3, 7}) {
    SCOPED_TRACE(state);
    store_.SetConsentState(state);
    expectOpened(state != 2, L"", false);
  }
  store_.SetEmail(L"user@example.com");
  store_.SetShowMessage(false);
  expectOpened(true, L"user@example.com", true);
}

// docs/compatibility.md, 49.
TEST_F(ConsentDialog, OpensInTheSameWayWhateverItsFirstFlag) {
  for (const int first : {0, 1, 7}) {
    TestDialog dialog(&store_, first, 0);
    ShowModal(dialog, [&](HWND) {
      EXPECT_TRUE(dialog.IsButtonChecked(IDC_DECLINE)) << first;
      EXPECT_EQ(dialog.opacities, std::vector<int>{245}) << first;
      EXPECT_EQ(dialog.fadeSteps, 0) << first;
    });
  }
}

TEST_F(ConsentDialog, HidesRemindLaterButLeavesItThere) {
  Show([](TestDialog& dialog) {
    const HWND button = dialog.GetControl(IDC_REMIND_LATER);
    ASSERT_NE(button, nullptr);
    EXPECT_FALSE(GetWindowLongW(button, GWL_STYLE) & WS_VISIBLE);
    EXPECT_TRUE(IsWindowEnabled(button));
  });
}

// The fade.

TEST_F(ConsentDialog, StaysAtItsOpacityWithoutTheFade) {
  Show([](TestDialog& dialog) {
    Sleep(100);
    DispatchWaitingMessages();
    EXPECT_EQ(dialog.GetOpacity(), 245);
    EXPECT_EQ(dialog.opacities, std::vector<int>{245});
    EXPECT_EQ(dialog.fadeSteps, 0);
  });
}

TEST_F(ConsentDialog, FadesInFrom25To245AndStops) {
  const TimerRecorder timers;
  TestDialog dialog(&store_, 1, 1);
  ShowModal(dialog, [&](HWND) {
    EXPECT_TRUE(DispatchUntil([&dialog] { return dialog.fadeSteps == 45; }));
    Sleep(100);
    DispatchWaitingMessages();
  });
  // It starts at its full opacity: the value 20 is never applied.
  std::vector<int> expected = {245};
  for (int opacity = 25; opacity <= 245; opacity += 5) expected.push_back(opacity);
  EXPECT_EQ(dialog.opacities, expected);
  EXPECT_EQ(dialog.fadeSteps, 45);
  EXPECT_EQ(std::count_if(timers.calls.begin(), timers.calls.end(),
                          [](const TimerRecorder::Call& call) {
                            return std::get<1>(call) == FadeTimer && std::get<2>(call) == 15;
                          }),
            1);
  // Timers may come late, but not early. The clock advances by up to 16 ms at a time.
  EXPECT_GE(dialog.lastStepTime - dialog.initTime, ULONGLONG{45 * 15 - 2 * 16});
}

TEST_F(ConsentDialog, TakesAFadeStepForItsTimerOnly) {
  Show([](TestDialog& dialog) {
    SetLayeredWindowAttributes(dialog.m_hWnd, 0, 7, LWA_ALPHA);
    dialog.defaults.clear();
    const std::vector<std::pair<UINT, WPARAM>> others = {
        {WM_TIMER, 1}, {WM_TIMER, 100}, {WM_TIMER, 1025}, {WM_TIMER, 1027}};
    for (const auto& [message, timer] : others) SendMessageW(dialog.m_hWnd, message, timer, 0);
    EXPECT_EQ(dialog.GetOpacity(), 7);
    SendMessageW(dialog.m_hWnd, WM_TIMER, FadeTimer, 0);
    EXPECT_EQ(dialog.GetOpacity(), 245) << "the last step stays";
    EXPECT_EQ(dialog.defaults, others);
  });
}

TEST_F(ConsentDialog, LooksUpTheSystemsCallsOnce) {
  TestDialog::layered_ = {};
  TestDialog dialog(&store_, 0, 0);
  EXPECT_FALSE(TestDialog::layered_.lookedUp);
  ShowModal(dialog);
  EXPECT_TRUE(TestDialog::layered_.lookedUp);
  const HMODULE user = GetModuleHandleW(L"user32.dll");
  EXPECT_EQ(reinterpret_cast<void*>(TestDialog::layered_.setAttributes),
            reinterpret_cast<void*>(GetProcAddress(user, "SetLayeredWindowAttributes")));
  EXPECT_EQ(reinterpret_cast<void*>(TestDialog::layered_.update),
            reinterpret_cast<void*>(GetProcAddress(user, "UpdateLayeredWindow")));
}

TEST_F(ConsentDialog, IsOpaqueWhereTheSystemHasNoLayeredWindows) {
  TestDialog::layered_.lookedUp = true;
  TestDialog dialog(&store_, 1, 1);
  ShowModal(dialog, [&dialog](HWND window) {
    EXPECT_TRUE(DispatchUntil([&dialog] { return dialog.fadeSteps > 0; }));
    EXPECT_EQ(GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_LAYERED, 0);
    EXPECT_EQ(dialog.GetOpacity(), -1);
  });
  EXPECT_EQ(TestDialog::layered_.setAttributes, nullptr);
}

// Its background.

/// A bitmap's pixels as 0xRRGGBB, row by row from the top.
std::vector<std::uint32_t> GetPixels(HBITMAP bitmap) {
  const SIZE size = SizeOf(bitmap);
  BITMAPINFO info = {};
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = size.cx;
  info.bmiHeader.biHeight = -size.cy;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  std::vector<std::uint32_t> pixels(static_cast<size_t>(size.cx * size.cy));
  const HDC screen = GetDC(nullptr);
  EXPECT_EQ(GetDIBits(screen, bitmap, 0, static_cast<UINT>(size.cy), pixels.data(), &info,
                      DIB_RGB_COLORS),
            size.cy);
  ReleaseDC(nullptr, screen);
  for (std::uint32_t& pixel : pixels) pixel &= 0xFFFFFF;
  return pixels;
}

/// Has the dialog erase the background of a red area of this size. Returns the area's pixels.
std::vector<std::uint32_t> EraseBackground(TestDialog& dialog, LONG width, LONG height) {
  CDC dc;
  dc.CreateCompatibleDC(nullptr);
  const HDC screen = GetDC(nullptr);
  const HBITMAP bitmap = CreateCompatibleBitmap(screen, width, height);
  ReleaseDC(nullptr, screen);
  const HGDIOBJ previous = SelectObject(dc, bitmap);
  const RECT area = {0, 0, width, height};
  const HBRUSH brush = CreateSolidBrush(RGB(255, 0, 0));
  FillRect(dc, &area, brush);
  DeleteObject(brush);
  EXPECT_FALSE(dialog.OnEraseBkgnd(&dc));
  SelectObject(dc, previous);
  std::vector<std::uint32_t> pixels = GetPixels(bitmap);
  DeleteObject(bitmap);
  return pixels;
}

TEST_F(ConsentDialog, DecodesItsPictureOnWhite) {
  const CLibraryHandle artwork = Localize(L"own_artwork.dll");
  const HBITMAP picture = LoadBackgroundPicture();
  ASSERT_NE(picture, nullptr);
  EXPECT_EQ(GetPixels(picture),
            (std::vector<std::uint32_t>{0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF}));
  DeleteObject(picture);
}

TEST_F(ConsentDialog, PaintsEveryPixelOfItsPictureUnstretched) {
  Show([](TestDialog& dialog) {
    const SIZE size = SizeOf(TestDialog::background_);
    const LONG width = size.cx + 40;
    const LONG height = size.cy + 30;
    const std::vector<std::uint32_t> picture = GetPixels(TestDialog::background_);
    std::vector<std::uint32_t> expected(static_cast<size_t>(width * height), 0xFF0000);
    for (LONG y = 0; y < size.cy; ++y) {
      std::copy_n(picture.begin() + y * size.cx, size.cx, expected.begin() + y * width);
    }
    EXPECT_TRUE(EraseBackground(dialog, width, height) == expected);
    EXPECT_EQ(SendMessageW(dialog.m_hWnd, WM_ERASEBKGND, 0, 0), 0);
  });
}

TEST_F(ConsentDialog, PaintsNothingWithoutAPicture) {
  Show([](TestDialog& dialog) {
    const HBITMAP picture = std::exchange(TestDialog::background_, nullptr);
    EXPECT_EQ(EraseBackground(dialog, 20, 10), std::vector<std::uint32_t>(20 * 10, 0xFF0000));
    TestDialog::background_ = picture;
  });
}

TEST_F(ConsentDialog, GivesControlsATransparentWhiteBackground) {
  Show([](TestDialog& dialog) {
    for (const UINT message :
         {UINT{WM_CTLCOLORSTATIC}, UINT{WM_CTLCOLORBTN}, UINT{WM_CTLCOLOREDIT}}) {
      CDC dc;
      dc.CreateCompatibleDC(nullptr);
      SetBkMode(dc, OPAQUE);
      const LRESULT brush = SendMessageW(dialog.m_hWnd, message, reinterpret_cast<WPARAM>(HDC{dc}),
                                         reinterpret_cast<LPARAM>(dialog.GetControl(IDC_TITLE)));
      EXPECT_EQ(brush, reinterpret_cast<LRESULT>(GetStockObject(WHITE_BRUSH))) << message;
      EXPECT_EQ(GetBkMode(dc), TRANSPARENT) << message;
    }
  });
}

// Other messages.

TEST_F(ConsentDialog, LeavesTheDraggedIconToTheSystem) {
  Show([](TestDialog& dialog) {
    dialog.defaultResults[WM_QUERYDRAGICON] = 0x1234;
    EXPECT_EQ(SendMessageW(dialog.m_hWnd, WM_QUERYDRAGICON, 0, 0), 0x1234);
  });
}

TEST_F(ConsentDialog, IsDraggedByEveryPoint) {
  Show([](TestDialog& dialog) {
    EXPECT_EQ(SendMessageW(dialog.m_hWnd, WM_NCHITTEST, 0, 0), HTCAPTION);
    EXPECT_EQ(SendMessageW(dialog.m_hWnd, WM_NCHITTEST, 0, -1), HTCAPTION);
  });
}

// The answer.

TEST_F(ConsentDialog, WritesTheAnswerOnOk) {
  const struct {
    std::vector<int> clicked;
    const wchar_t* email;
    Settings written;
  } Cases[] = {
      {{IDC_PARTICIPATE}, L"", {{L"PeltoState", L"1"}, {L"Email", L""}, {L"ShowMessage", L"1"}}},
      {{IDC_PARTICIPATE, IDC_DECLINE, IDC_SILENCE},
       L"user@example.com",
       {{L"PeltoState", L"2"}, {L"Email", L"user@example.com"}, {L"ShowMessage", L"0"}}},
      // An address that is not kept replaces the stored one; the check box is clicked off.
      {{IDC_SILENCE}, L"user", {{L"PeltoState", L"2"}, {L"Email", L""}, {L"ShowMessage", L"1"}}},
      // Spaces are kept here; some versions of the system drop leading ones in the file.
      {{},
       L" \u00A0user@example.com\u00A0  ",
       {{L"PeltoState", L"2"},
        {L"Email", L" \u00A0user@example.com\u00A0  "},
        {L"ShowMessage", L"1"}}},
  };
  for (const auto& example : Cases) {
    const SettingsRecorder recorder;
    ShowAndClickOk([&example](HWND window) {
      for (const int id : example.clicked) Click(window, id);
      SetDlgItemTextW(window, IDC_EMAIL, example.email);
    });
    EXPECT_EQ(GetWrittenSettings(), example.written);
  }
}

/// Sends the notification of a click on the hidden button.
void ClickRemindLater(HWND window) {
  SendMessageW(window, WM_COMMAND, MAKEWPARAM(IDC_REMIND_LATER, BN_CLICKED), 0);
}

TEST_F(ConsentDialog, WritesTheAnswerBeforeItsEndAndTheReminderAfterIt) {
  const std::pair<DialogStep, std::vector<bool>> Cases[] = {
      {[](HWND window) { Click(window, IDOK); }, {false, false, false}},
      {&ClickRemindLater, {true}}};
  for (const auto& [step, ending] : Cases) {
    TestDialog dialog(&store_, 0, 0);
    const SettingsRecorder recorder;
    std::vector<bool> found;
    SettingsRecorder::onCall = [&] {
      // The end wakes the dialog's loop with an empty message.
      MSG message = {};
      found.push_back(PeekMessageW(&message, dialog.m_hWnd, WM_NULL, WM_NULL, PM_NOREMOVE) &&
                      message.message == WM_NULL);
    };
    RunModal(dialog, step);
    EXPECT_EQ(found, ending);
  }
}

TEST_F(ConsentDialog, WritesNothingButTheReminderInAnotherWay) {
  const struct {
    DialogStep step;
    int result;
    Settings written;
  } Cases[] = {
      {&ClickRemindLater, 0, {{L"PeltoState", L"3"}}},
      {[](HWND window) { PressKey(window, VK_ESCAPE); }, IDCANCEL, {}},
      {[](HWND window) { PostMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0); }, IDCANCEL, {}},
  };
  for (const auto& example : Cases) {
    TestDialog dialog(&store_, 0, 0);
    const SettingsRecorder recorder;
    EXPECT_EQ(RunModal(
                  dialog,
                  [](HWND window) {
                    Click(window, IDC_PARTICIPATE);
                    Click(window, IDC_SILENCE);
                    SetDlgItemTextW(window, IDC_EMAIL, L"user@example.com");
                  },
                  example.step),
              example.result);
    EXPECT_EQ(GetWrittenSettings(), example.written);
  }
}

TEST_F(ConsentDialog, CutsTheAddressAfter1039CharactersBeforeItLooksAtIt) {
  const std::pair<std::wstring, std::wstring> Cases[] = {
      // The dot is the last character that is kept, or the first that is not.
      {L"@" + std::wstring(1'037, L'a') + L".", L"@" + std::wstring(1'037, L'a') + L"."},
      {L"@" + std::wstring(1'038, L'a') + L".", L""},
      {L"a@b." + std::wstring(2'000, L'c'), L"a@b." + std::wstring(1'035, L'c')},
      {std::wstring(1'038, L'a') + L"@.b", L""},
  };
  for (const auto& [typed, stored] : Cases) {
    ShowAndClickOk(
        [&text = typed](HWND window) { SetDlgItemTextW(window, IDC_EMAIL, text.c_str()); });
    EXPECT_EQ(GetStoredEmail(), stored);
  }
}

TEST_F(ConsentDialog, ChecksNeitherRadioButtonWhenOneIsMissing) {
  for (const int missing : {IDC_PARTICIPATE, IDC_DECLINE}) {
    const int other = missing == IDC_PARTICIPATE ? IDC_DECLINE : IDC_PARTICIPATE;
    store_.SetConsentState(other == IDC_DECLINE ? 2 : 1);
    TestDialog dialog(&store_, 0, 0);
    dialog.beforeInit = [&] { ::DestroyWindow(dialog.GetControl(missing)); };
    RunModal(dialog, [&](HWND window) {
      EXPECT_TRUE(dialog.HasControl(other));
      EXPECT_FALSE(dialog.IsButtonChecked(other));
      Click(window, IDOK);
    });
    EXPECT_EQ(store_.GetConsentState(), 2);
  }
}

TEST_F(ConsentDialog, WorksWithNothingButOk) {
  store_.SetConsentState(1);
  store_.SetEmail(L"user@example.com");
  store_.SetShowMessage(false);
  const CLibraryHandle texts = Localize(L"bare_dialog.dll");
  ShowAndClickOk();
  EXPECT_EQ(store_.GetConsentState(), 2);
  EXPECT_EQ(store_.GetEmail(), L"");
  EXPECT_TRUE(store_.GetShowMessage());
}

int accessViolations = 0;

/// Counts access violations: the system goes on after one in a message handler.
LONG CALLBACK CountAccessViolation(EXCEPTION_POINTERS* raised) {
  accessViolations += raised->ExceptionRecord->ExceptionCode == EXCEPTION_ACCESS_VIOLATION;
  return EXCEPTION_CONTINUE_SEARCH;
}

TEST_F(ConsentDialog, WithoutSettingsShowsTheDefaultsAndStoresNothing) {
  accessViolations = 0;
  void* const counter = AddVectoredExceptionHandler(1 /* the first */, &CountAccessViolation);
  const SettingsRecorder recorder;
  const std::pair<DialogStep, int> Cases[] = {{[](HWND window) { Click(window, IDOK); }, IDOK},
                                              {&ClickRemindLater, 0}};
  for (const auto& [step, result] : Cases) {
    TestDialog dialog(nullptr, 0, 0);
    const auto expectDefaults = [&dialog](HWND window) {
      EXPECT_FALSE(dialog.IsButtonChecked(IDC_PARTICIPATE));
      EXPECT_TRUE(dialog.IsButtonChecked(IDC_DECLINE));
      EXPECT_FALSE(dialog.IsButtonChecked(IDC_SILENCE));
      EXPECT_EQ(GetText(window, IDC_EMAIL), L"");
      Click(window, IDC_PARTICIPATE);
    };
    EXPECT_EQ(RunModal(dialog, expectDefaults, step), result);
  }
  RemoveVectoredExceptionHandler(counter);
  EXPECT_EQ(accessViolations, 0);
  EXPECT_EQ(GetWrittenSettings(), Settings{});
}

// Painting.

/// Has the window painted at once.
void Repaint(HWND window) {
  InvalidateRect(window, nullptr, TRUE);
  SendMessageW(window, WM_PAINT, 0, 0);
}

TEST_F(ConsentDialog, LeavesItsPaintingToTheSystemUnlessMinimized) {
  const IconRecorder icons;
  Show([&icons](TestDialog& dialog) {
    dialog.defaults.clear();
    Repaint(dialog.m_hWnd);
    ASSERT_FALSE(dialog.defaults.empty());
    EXPECT_EQ(dialog.defaults[0].first, UINT{WM_PAINT});
    EXPECT_TRUE(icons.calls.empty());
  });
}

TEST_F(ConsentDialog, ErasesTheBackgroundAndThenDrawsItsIconWhenMinimized) {
  const IconRecorder icons;
  TestDialog dialog(&store_, 0, 0);
  std::vector<HDC> erased;
  dialog.onMessage = [&](UINT message, WPARAM first, LPARAM) {
    if (message != WM_ICONERASEBKGND) return;
    EXPECT_EQ(GetObjectType(reinterpret_cast<HDC>(first)), DWORD{OBJ_DC});
    EXPECT_TRUE(icons.calls.empty());
    erased.push_back(reinterpret_cast<HDC>(first));
  };
  ShowModal(
      dialog, [](HWND window) { ShowWindow(window, SW_MINIMIZE); },
      [&](HWND window) {
        EXPECT_TRUE(IsIconic(window));
        erased.clear();
        dialog.defaults.clear();
        icons.calls.clear();
        Repaint(window);
        EXPECT_FALSE(GetUpdateRect(window, nullptr, FALSE)) << "the paint is complete";
        ASSERT_EQ(icons.calls.size(), 1U);
        EXPECT_EQ(std::get<HICON>(icons.calls[0]), IconOf(program_));
        EXPECT_EQ(erased, std::vector<HDC>{std::get<HDC>(icons.calls[0])});
        for (const auto& [message, first] : dialog.defaults) EXPECT_NE(message, UINT{WM_PAINT});
        ShowWindow(window, SW_RESTORE);
      });
}

TEST_F(ConsentDialog, DrawsItsIconInTheMiddleWhenMinimized) {
  ASSERT_EQ(GetSystemMetrics(SM_CXICON), 32);
  ASSERT_EQ(GetSystemMetrics(SM_CYICON), 32);
  const struct {
    int width, height, left, top;
  } Cases[] = {{161, 61, 65, 15}, {160, 60, 64, 14}, {97, 44, 33, 6}, {24, 21, -3, -5}};
  for (const auto& example : Cases) {
    Show([&example](TestDialog& dialog) {
      const HWND window = dialog.m_hWnd;
      SetWindowLongW(window, GWL_STYLE, GetWindowLongW(window, GWL_STYLE) & ~WS_BORDER);
      SetWindowPos(window, nullptr, 0, 0, example.width, example.height,
                   SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_FRAMECHANGED);
      RECT area;
      GetClientRect(window, &area);
      ASSERT_EQ(area.right, example.width);
      ASSERT_EQ(area.bottom, example.height);
      // A window that is really minimized has no client area.
      SetWindowLongW(window, GWL_STYLE, GetWindowLongW(window, GWL_STYLE) | WS_MINIMIZE);
      const IconRecorder icons;
      Repaint(window);
      ASSERT_EQ(icons.calls.size(), 1U);
      EXPECT_EQ(std::get<1>(icons.calls[0]), example.left);
      EXPECT_EQ(std::get<2>(icons.calls[0]), example.top);
      SetWindowLongW(window, GWL_STYLE, GetWindowLongW(window, GWL_STYLE) & ~WS_MINIMIZE);
    });
  }
}

TEST_F(ConsentDialog, Leaves200TimesNothingButItsPictures) {
  // The first ones create what a process has once.
  Show();
  Show();
  const size_t bitmapsBefore = CountGdiObjects(OBJ_BITMAP);
  ASSERT_NE(LoadBackgroundPicture(), nullptr);
  const size_t perPicture = CountGdiObjects(OBJ_BITMAP) - bitmapsBefore;
  // The bitmap and, in some versions of the graphics library, one of the decoded image.
  ASSERT_TRUE(perPicture == 1 || perPicture == 2) << perPicture;

  const size_t objects = CountGdiObjects();
  const size_t bitmaps = CountGdiObjects(OBJ_BITMAP);
  const size_t windows = CountThreadWindows();
  constexpr size_t Times = 200;
  for (size_t time = 0; time < Times; ++time) Show();
  EXPECT_EQ(CountGdiObjects(OBJ_BITMAP), bitmaps + Times * perPicture);
  EXPECT_EQ(CountGdiObjects(), objects + Times * perPicture);
  EXPECT_EQ(CountThreadWindows(), windows);
}

}  // namespace
