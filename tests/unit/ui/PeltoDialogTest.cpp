#include "ui/PeltoDialog.h"

#include <gtest/gtest.h>
#include <objidl.h>

#include <gdiplus.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/Handles.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/ui/Recorders.h"
#include "ui/BackgroundPicture.h"
#include "ui/resource.h"

/// The program's own entries of the calls in its table of imports.
extern "C" void* __imp_DrawIcon;
extern "C" void* __imp_WritePrivateProfileStringW;

namespace {

constexpr UINT_PTR FadeTimer = 1026;
constexpr int Width = 753;
constexpr int Height = 445;

/// Opens what a test may look at and change, and notes the opacities that timers apply.
class TestDialog : public PeltoDialog {
 public:
  using PeltoDialog::background_;
  using PeltoDialog::layered_;
  using PeltoDialog::LayeredCalls;
  using PeltoDialog::OnCtlColor;
  using PeltoDialog::OnEraseBkgnd;
  using PeltoDialog::PeltoDialog;

  int Opacity() const {
    BYTE opacity = 0;
    DWORD flags = 0;
    COLORREF key = 1;
    if (!GetLayeredWindowAttributes(m_hWnd, &key, &opacity, &flags)) return -1;
    EXPECT_EQ(flags, DWORD{LWA_ALPHA});
    EXPECT_EQ(key, 0U);
    return opacity;
  }

  /// The messages that went on to the window's own procedure.
  std::vector<std::pair<UINT, WPARAM>> defaults;
  /// What it answers in that procedure's place, by message.
  std::map<UINT, LRESULT> defaultAnswers;
  std::vector<int> opacities;
  /// By id, the timers that have come.
  std::map<WPARAM, int> timers;
  /// When the last of them came, in milliseconds.
  ULONGLONG lastTimer = 0;
  BOOL initResult = FALSE;
  bool visibleAfterInit = false;

 protected:
  BOOL OnInitDialog() override {
    initResult = PeltoDialog::OnInitDialog();
    visibleAfterInit = IsWindowVisible();
    opacities.push_back(Opacity());
    return initResult;
  }
  LRESULT WindowProc(UINT message, WPARAM first, LPARAM second) override {
    const LRESULT result = PeltoDialog::WindowProc(message, first, second);
    if (message == WM_TIMER) {
      ++timers[first];
      opacities.push_back(Opacity());
      lastTimer = GetTickCount64();
    }
    return result;
  }
  LRESULT DefWindowProc(UINT message, WPARAM first, LPARAM second) override {
    defaults.emplace_back(message, first);
    const auto answer = defaultAnswers.find(message);
    if (answer != defaultAnswers.end()) return answer->second;
    return PeltoDialog::DefWindowProc(message, first, second);
  }
};

/// Makes `module` the program for the framework, from which everything is loaded.
void StartProgram(HINSTANCE module) {
  class Program : public CWinApp {
    BOOL InitInstance() override { return FALSE; }
  };
  Program program;
  AfxWinMain(module);
}

/// Notes what this program writes to settings files.
class SettingsRecorder {
 public:
  struct Write {
    std::wstring section;
    std::wstring key;
    std::wstring value;
    bool operator==(const Write&) const = default;
  };

  SettingsRecorder() {
    writes.clear();
    onWrite = nullptr;
    original = reinterpret_cast<decltype(original)>(write_.GetOriginal());
  }

  inline static std::vector<Write> writes;
  /// Called at each write, before it is done.
  inline static std::function<void()> onWrite;

 private:
  static BOOL WINAPI Record(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR file) {
    writes.push_back({section, key, value});
    if (onWrite) onWrite();
    return original(section, key, value, file);
  }

  inline static decltype(&WritePrivateProfileStringW) original = nullptr;
  ReplacedImport write_{__imp_WritePrivateProfileStringW, reinterpret_cast<void*>(&Record)};
};

/// Notes the icons that this program draws.
class IconRecorder {
 public:
  struct Drawing {
    HDC dc;
    int left;
    int top;
    HICON icon;
  };

  IconRecorder() {
    drawings.clear();
    original = reinterpret_cast<decltype(original)>(drawIcon_.GetOriginal());
  }

  inline static std::vector<Drawing> drawings;

 private:
  static BOOL WINAPI Record(HDC dc, int left, int top, HICON icon) {
    drawings.push_back({dc, left, top, icon});
    return original(dc, left, top, icon);
  }

  inline static decltype(&DrawIcon) original = nullptr;
  ReplacedImport drawIcon_{__imp_DrawIcon, reinterpret_cast<void*>(&Record)};
};

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

  static CLibraryHandle LoadTestLibrary(const std::wstring& name) {
    CLibraryHandle library(LoadLibraryW((ProgramFolder() + L"\\" + name).c_str()));
    EXPECT_TRUE(library) << GetLastError();
    return library;
  }

  /// The address that the shown dialog's link opens on a click.
  static std::wstring AddressOfLink(HWND window) {
    const HWND link = GetDlgItem(window, IDC_PRIVACY_POLICY);
    // There is nothing to click before the first paint.
    RedrawWindow(link, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
    const ShellRecorder shell;
    SendMessageW(link, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(3, 3));
    EXPECT_EQ(ShellRecorder::openings.size(), 1U);
    return ShellRecorder::openings.empty() ? L"(none)" : ShellRecorder::openings[0].address;
  }

  /// The address as it stands in the settings file.
  std::wstring StoredEmail() const {
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

bool IsChecked(HWND window, int id) {
  return SendMessageW(GetDlgItem(window, id), BM_GETCHECK, 0, 0) == BST_CHECKED;
}

HBITMAP BitmapOfSize(int width, int height) {
  return CreateBitmap(width, height, 1 /* plane */, 1 /* bit a pixel */, nullptr /* no bits */);
}

/// What the dialog draws as its ground, on a canvas that was red before.
class Canvas {
 public:
  explicit Canvas(TestDialog& dialog) {
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = Side;
    info.bmiHeader.biHeight = -Side;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    bitmap_ = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, reinterpret_cast<void**>(&bits_),
                               nullptr, 0);
    dc_.CreateCompatibleDC(nullptr);
    previous_ = SelectObject(dc_, bitmap_);
    for (int y = 0; y < Side; ++y) {
      for (int x = 0; x < Side; ++x) SetPixel(dc_, x, y, RGB(255, 0, 0));
    }
    result = dialog.OnEraseBkgnd(&dc_);
  }
  ~Canvas() {
    SelectObject(dc_, previous_);
    DeleteObject(bitmap_);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  COLORREF At(int x, int y) const { return GetPixel(dc_, x, y); }
  /// All of it, in the order of a bitmap's bits.
  std::vector<std::uint32_t> Pixels() const {
    GdiFlush();
    std::vector<std::uint32_t> pixels(bits_, bits_ + Side * Side);
    for (std::uint32_t& pixel : pixels) pixel &= 0xFFFFFF;
    return pixels;
  }

  static constexpr int Side = 800;
  BOOL result = TRUE;

 private:
  CDC dc_;
  HBITMAP bitmap_ = nullptr;
  std::uint32_t* bits_ = nullptr;
  HGDIOBJ previous_ = nullptr;
};

/// A picture's pixels, in the order of a bitmap's bits.
std::vector<std::uint32_t> PixelsOf(HBITMAP picture, int width, int height) {
  BITMAPINFO info = {};
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = -height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  std::vector<std::uint32_t> pixels(static_cast<size_t>(width * height));
  const HDC screen = GetDC(nullptr);
  EXPECT_EQ(GetDIBits(screen, picture, 0, static_cast<UINT>(height), pixels.data(), &info,
                      DIB_RGB_COLORS),
            height);
  ReleaseDC(nullptr, screen);
  for (std::uint32_t& pixel : pixels) pixel &= 0xFFFFFF;
  return pixels;
}

SIZE SizeOf(HBITMAP picture) {
  BITMAP description = {};
  GetObjectW(picture, sizeof description, &description);
  return {description.bmWidth, description.bmHeight};
}

HICON IconOf(HINSTANCE module) {
  return LoadIconW(module, MAKEINTRESOURCEW(IDI_PELTO));
}

HICON IconOf(HWND window, WPARAM size) {
  return reinterpret_cast<HICON>(SendMessageW(window, WM_GETICON, size, 0));
}

// Where its resources come from.

TEST_F(ConsentDialog, TakesItsArtworkFromTheProgramWhereTheLocalizedModuleHasNone) {
  const CLibraryHandle texts = LoadTestLibrary(L"bare_dialog.dll");
  AfxSetResourceHandle(texts.Get());
  TestDialog::background_ = nullptr;
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [this](HWND window) {
    EXPECT_EQ(GetDlgItem(window, IDC_TITLE), nullptr) << "the dialog is the module's";
    EXPECT_NE(IconOf(program_), nullptr);
    EXPECT_EQ(IconOf(window, ICON_BIG), IconOf(program_));
    EXPECT_EQ(IconOf(window, ICON_SMALL), IconOf(program_));
    EXPECT_EQ(SizeOf(TestDialog::background_).cx, Width);
    EXPECT_EQ(SizeOf(TestDialog::background_).cy, Height);
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, TakesItsAddressFromTheProgramWhereTheLocalizedModuleHasNone) {
  const CLibraryHandle texts = LoadTestLibrary(L"linked_dialog.dll");
  AfxSetResourceHandle(texts.Get());
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) {
    EXPECT_EQ(GetDlgItem(window, IDC_TITLE), nullptr) << "the dialog is the module's";
    EXPECT_EQ(AddressOfLink(window), L"https://www.quintar.example/privacy");
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, TakesTheLocalizedModulesDialogAndAddress) {
  const CLibraryHandle texts = LoadTestLibrary(L"localized_dialog.dll");
  AfxSetResourceHandle(texts.Get());
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) {
    wchar_t text[64] = L"";
    GetDlgItemTextW(window, IDOK, text, 64);
    EXPECT_STREQ(text, L"Fertig");
    EXPECT_EQ(AddressOfLink(window), L"https://www.quintar.example/datenschutz");
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, TakesTheLocalizedModulesArtworkAndTheProgramsDialogAndAddress) {
  const CLibraryHandle artwork = LoadTestLibrary(L"own_artwork.dll");
  AfxSetResourceHandle(artwork.Get());
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [this, &artwork](HWND window) {
    EXPECT_NE(GetDlgItem(window, IDC_TITLE), nullptr);
    EXPECT_EQ(AddressOfLink(window), L"https://www.quintar.example/privacy");
    const HICON icon = IconOf(artwork.Get());
    EXPECT_NE(icon, nullptr);
    EXPECT_NE(icon, IconOf(program_));
    EXPECT_EQ(IconOf(window, ICON_BIG), icon);
    EXPECT_EQ(IconOf(window, ICON_SMALL), icon);
    EXPECT_EQ(SizeOf(TestDialog::background_).cx, 2);
    EXPECT_EQ(SizeOf(TestDialog::background_).cy, 2);
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, DecodesItsPictureOnWhite) {
  const CLibraryHandle artwork = LoadTestLibrary(L"own_artwork.dll");
  AfxSetResourceHandle(artwork.Get());
  const HBITMAP picture = LoadBackgroundPicture();
  ASSERT_NE(picture, nullptr);
  EXPECT_EQ(PixelsOf(picture, 2, 2),
            (std::vector<std::uint32_t>{0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF}));
  DeleteObject(picture);
}

TEST_F(ConsentDialog, KeepsTheLastPictureWhenItsOwnIsDamaged) {
  const CLibraryHandle damaged = LoadTestLibrary(L"damaged_picture.dll");
  AfxSetResourceHandle(damaged.Get());
  const HBITMAP before = BitmapOfSize(3, 1);
  TestDialog::background_ = before;
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) { Click(window, IDOK); });
  EXPECT_EQ(TestDialog::background_, before);
  EXPECT_EQ(SizeOf(before).cx, 3);
  TestDialog::background_ = nullptr;
  DeleteObject(before);
}

TEST_F(ConsentDialog, KeepsTheLastPictureWhenThereIsNone) {
  const CLibraryHandle program = LoadTestLibrary(L"linked_dialog.dll");
  StartProgram(program.Get());
  const HBITMAP before = BitmapOfSize(3, 1);
  TestDialog::background_ = before;
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) { Click(window, IDOK); });
  EXPECT_EQ(TestDialog::background_, before);
  EXPECT_EQ(SizeOf(before).cx, 3);
  TestDialog::background_ = nullptr;
  DeleteObject(before);
}

TEST_F(ConsentDialog, ComesUpWithoutArtworkAndAddress) {
  const CLibraryHandle program = LoadTestLibrary(L"linked_dialog.dll");
  StartProgram(program.Get());
  TestDialog::background_ = nullptr;
  TestDialog dialog(&store_, 0, 0);
  EXPECT_EQ(RunModal(dialog,
                     [](HWND window) {
                       EXPECT_EQ(IconOf(window, ICON_BIG), nullptr);
                       EXPECT_EQ(TestDialog::background_, nullptr);
                       EXPECT_EQ(AddressOfLink(window), L"");
                       Click(window, IDOK);
                     }),
            IDOK);
}

// Its start.

/// Writes down what happens while it is initialised.
class ObservedDialog : public TestDialog {
 public:
  using TestDialog::TestDialog;

  inline static std::vector<std::string> events;

  /// Takes the place of the system's call.
  static BOOL WINAPI NoteOpacity(HWND, COLORREF, BYTE opacity, DWORD) {
    // The fade's steps come later.
    if (initialises_) events.push_back("opacity " + std::to_string(opacity));
    return TRUE;
  }

 protected:
  void DoDataExchange(CDataExchange* exchange) override {
    TestDialog::DoDataExchange(exchange);
    events.emplace_back("exchange");
  }
  BOOL OnInitDialog() override {
    events.clear();
    initialises_ = true;
    const BOOL result = TestDialog::OnInitDialog();
    initialises_ = false;
    return result;
  }
  LRESULT WindowProc(UINT message, WPARAM first, LPARAM second) override {
    if (initialises_) Note(message, first, second);
    return TestDialog::WindowProc(message, first, second);
  }

 private:
  static void Note(UINT message, WPARAM first, LPARAM second) {
    if (message == WM_STYLECHANGED && static_cast<int>(first) == GWL_EXSTYLE) {
      const auto& style = *reinterpret_cast<const STYLESTRUCT*>(second);
      if (style.styleNew & ~style.styleOld & WS_EX_LAYERED) events.emplace_back("layered");
    }
    if (message == WM_MOVE) events.emplace_back("moved");
    if (message == WM_SETICON) events.push_back(first == ICON_BIG ? "big icon" : "small icon");
    if (message == WM_SETTEXT) events.emplace_back("named");
  }

  inline static bool initialises_ = false;
};

TEST_F(ConsentDialog, IsInitialisedInItsOrder) {
  TestDialog::layered_ = {true, &ObservedDialog::NoteOpacity, nullptr};
  ObservedDialog dialog(&store_, 0, 1);
  RunModal(dialog, [](HWND window) { Click(window, IDOK); });
  EXPECT_EQ(ObservedDialog::events,
            (std::vector<std::string>{"exchange", "layered", "opacity 245", "moved", "big icon",
                                      "small icon", "named"}));
}

TEST_F(ConsentDialog, LeavesTheFocusToTheSystem) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) {
    EXPECT_EQ(GetFocus(), GetDlgItem(window, IDOK));
    Click(window, IDOK);
  });
  EXPECT_EQ(dialog.initResult, TRUE);
}

TEST_F(ConsentDialog, HidesItselfUntilItIsInitialised) {
  class ShownEarly : public TestDialog {
   public:
    using TestDialog::TestDialog;
    bool shown = false;

   protected:
    void DoDataExchange(CDataExchange* exchange) override {
      TestDialog::DoDataExchange(exchange);
      ShowWindow(SW_SHOWNA);
      shown = IsWindowVisible();
    }
  };
  ShownEarly dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) { Click(window, IDOK); });
  EXPECT_TRUE(dialog.shown);
  EXPECT_FALSE(dialog.visibleAfterInit);
}

/// The name of a window, as others see it.
std::wstring NameOf(HWND window) {
  wchar_t name[256] = L"";
  GetWindowTextW(window, name, 256);
  return name;
}

TEST_F(ConsentDialog, IsNamedAfterItsTitle) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) {
    EXPECT_EQ(NameOf(window), L"Improve Your Product Experience");
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, IsNamedAfterALocalizedTitle) {
  const CLibraryHandle texts = LoadTestLibrary(L"localized_dialog.dll");
  AfxSetResourceHandle(texts.Get());
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) {
    EXPECT_EQ(NameOf(window), L"Helfen Sie mit, das Programm besser zu machen");
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, HasNoNameWithoutATitle) {
  const CLibraryHandle texts = LoadTestLibrary(L"bare_dialog.dll");
  AfxSetResourceHandle(texts.Get());
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) {
    EXPECT_EQ(NameOf(window), L"");
    Click(window, IDOK);
  });
}

// The fade.

TEST_F(ConsentDialog, StaysAtItsOpacityWithoutTheFade) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(
      dialog, [](HWND) { Sleep(100); }, [](HWND) {},
      [&dialog](HWND window) {
        EXPECT_EQ(dialog.Opacity(), 245);
        Click(window, IDOK);
      });
  EXPECT_EQ(dialog.opacities, std::vector<int>{245});
  EXPECT_EQ(dialog.timers.count(FadeTimer), 0U);
}

TEST_F(ConsentDialog, FadesInFrom25To245AndStops) {
  TestDialog dialog(&store_, 1, 1);
  const auto hasFaded = [&dialog] { return dialog.opacities.size() >= 46; };
  std::vector<DialogStep> steps;
  // Each is a tick of 10 ms.
  for (int tick = 0; tick < 120; ++tick) steps.emplace_back([](HWND) {});
  steps.emplace_back([&hasFaded](HWND window) {
    EXPECT_TRUE(hasFaded());
    Click(window, IDOK);
  });
  RunModalSteps(dialog, std::move(steps));
  // At first it has its full opacity: the step down to 20 is never applied.
  std::vector<int> expected = {245};
  for (int opacity = 25; opacity <= 245; opacity += 5) expected.push_back(opacity);
  EXPECT_EQ(dialog.opacities, expected);
  EXPECT_EQ(dialog.timers[FadeTimer], 45);
}

TEST_F(ConsentDialog, TakesFifteenMillisecondsForEachStepOfTheFade) {
  const TimerRecorder recorder;
  TestDialog dialog(&store_, 1, 1);
  RunModal(dialog, [&dialog](HWND window) {
    const ULONGLONG limit = GetTickCount64() + 15'000;
    while (dialog.timers[FadeTimer] < 45 && GetTickCount64() < limit) {
      MSG message;
      GetMessageW(&message, nullptr, 0, 0);
      DispatchMessageW(&message);
    }
    Click(window, IDOK);
  });
  EXPECT_EQ(dialog.timers[FadeTimer], 45);
  const std::vector<TimerRecorder::Timer> timers = TimerRecorder::Of(FadeTimer);
  ASSERT_EQ(timers.size(), 1U);
  EXPECT_EQ(timers[0].period, 15U);
  // Timers may come late, but not early. The clock moves by up to 16 ms at a time.
  EXPECT_GE(dialog.lastTimer - timers[0].time, ULONGLONG{45 * 15 - 2 * 16});
}

TEST_F(ConsentDialog, TakesStepsOfTheFadeTimerOnly) {
  TestDialog dialog(&store_, 1, 0);
  RunModal(dialog, [&dialog](HWND window) {
    for (const UINT_PTR timer : {UINT_PTR{1}, UINT_PTR{100}, UINT_PTR{1025}, UINT_PTR{1027}}) {
      SendMessageW(window, WM_TIMER, timer, 0);
    }
    SetLayeredWindowAttributes(window, 0, 7, LWA_ALPHA);
    SendMessageW(window, WM_TIMER, 1, 0);
    EXPECT_EQ(dialog.Opacity(), 7);
    SendMessageW(window, WM_TIMER, FadeTimer, 0);
    EXPECT_EQ(dialog.Opacity(), 245) << "a step from the top stays there";
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, LeavesOtherTimersToTheSystem) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [&dialog](HWND window) {
    dialog.defaults.clear();
    SendMessageW(window, WM_TIMER, 5, 0);
    SendMessageW(window, WM_TIMER, FadeTimer, 0);
    EXPECT_EQ(dialog.defaults, (std::vector<std::pair<UINT, WPARAM>>{{WM_TIMER, 5}}));
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, LooksUpTheSystemsCallsOnce) {
  TestDialog::layered_ = {};
  TestDialog dialog(&store_, 0, 0);
  EXPECT_FALSE(TestDialog::layered_.lookedUp);
  RunModal(dialog, [](HWND window) { Click(window, IDOK); });
  EXPECT_TRUE(TestDialog::layered_.lookedUp);
  const HMODULE user = GetModuleHandleW(L"user32.dll");
  EXPECT_EQ(reinterpret_cast<void*>(TestDialog::layered_.setAttributes),
            reinterpret_cast<void*>(GetProcAddress(user, "SetLayeredWindowAttributes")));
  EXPECT_EQ(reinterpret_cast<void*>(TestDialog::layered_.update),
            reinterpret_cast<void*>(GetProcAddress(user, "UpdateLayeredWindow")));
}

TEST_F(ConsentDialog, IsOpaqueWhereTheSystemHasNoLayers) {
  TestDialog::layered_.lookedUp = true;
  TestDialog dialog(&store_, 1, 1);
  RunModal(
      dialog, [](HWND) { Sleep(100); }, [](HWND) {},
      [&dialog](HWND window) {
        EXPECT_EQ(GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_LAYERED, 0);
        EXPECT_EQ(dialog.Opacity(), -1);
        Click(window, IDOK);
      });
  EXPECT_GT(dialog.timers[FadeTimer], 0) << "the fade only moves its own number";
  EXPECT_EQ(TestDialog::layered_.setAttributes, nullptr);
}

TEST_F(ConsentDialog, IsAsLargeAsItsPicture) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) {
    RECT units = {0, 0, 502, 274};
    MapDialogRect(window, &units);
    EXPECT_EQ(units.right, Width);
    EXPECT_EQ(units.bottom, Height);
    BITMAP picture = {};
    ASSERT_NE(GetObjectW(TestDialog::background_, sizeof picture, &picture), 0);
    EXPECT_EQ(picture.bmWidth, Width);
    EXPECT_EQ(picture.bmHeight, Height);
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, PaintsItsPictureAsItIsAndLeavesTheRest) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [&dialog](HWND window) {
    const Canvas canvas(dialog);
    EXPECT_FALSE(canvas.result) << "the system is told that the ground is not erased";
    EXPECT_EQ(canvas.At(Width - 1, 0), RGB(255, 255, 255));
    EXPECT_EQ(canvas.At(Width - 1, Height - 1), RGB(255, 255, 255));
    EXPECT_NE(canvas.At(0, 0), RGB(255, 0, 0));
    EXPECT_NE(canvas.At(0, Height - 1), RGB(255, 0, 0));
    EXPECT_EQ(canvas.At(Width, 0), RGB(255, 0, 0)) << "nothing is stretched";
    EXPECT_EQ(canvas.At(0, Height), RGB(255, 0, 0)) << "nothing is stretched";
    EXPECT_EQ(SendMessageW(window, WM_ERASEBKGND, 0, 0), 0);
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, PaintsEveryPixelOfItsPictureOverWhateverWasThere) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [&dialog](HWND window) {
    const std::vector<std::uint32_t> picture = PixelsOf(TestDialog::background_, Width, Height);
    std::vector<std::uint32_t> expected(Canvas::Side * Canvas::Side, 0xFF0000);
    for (int y = 0; y < Height; ++y) {
      std::copy_n(picture.begin() + y * Width, Width, expected.begin() + y * Canvas::Side);
    }
    const Canvas canvas(dialog);
    EXPECT_TRUE(canvas.Pixels() == expected);
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, PaintsNothingWithoutAPicture) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [&dialog](HWND window) {
    const HBITMAP picture = TestDialog::background_;
    TestDialog::background_ = nullptr;
    const Canvas canvas(dialog);
    EXPECT_FALSE(canvas.result);
    EXPECT_EQ(canvas.At(0, 0), RGB(255, 0, 0));
    EXPECT_EQ(canvas.At(400, 200), RGB(255, 0, 0));
    TestDialog::background_ = picture;
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, PutsANewPictureInThePlaceOfTheLastAndKeepsThat) {
  const HBITMAP before = BitmapOfSize(1, 1);
  TestDialog::background_ = before;
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) { Click(window, IDOK); });
  EXPECT_NE(TestDialog::background_, before);
  EXPECT_EQ(GetObjectType(before), DWORD{OBJ_BITMAP});
  DeleteObject(before);
}

TEST_F(ConsentDialog, GivesControlsATransparentWhiteGround) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) {
    for (const UINT message :
         {UINT{WM_CTLCOLORSTATIC}, UINT{WM_CTLCOLORBTN}, UINT{WM_CTLCOLOREDIT}}) {
      CDC dc;
      dc.CreateCompatibleDC(nullptr);
      SetBkMode(dc, OPAQUE);
      const LRESULT brush = SendMessageW(window, message, reinterpret_cast<WPARAM>(HDC{dc}),
                                         reinterpret_cast<LPARAM>(GetDlgItem(window, IDC_TITLE)));
      EXPECT_EQ(brush, reinterpret_cast<LRESULT>(GetStockObject(WHITE_BRUSH))) << message;
      EXPECT_EQ(GetBkMode(dc), TRANSPARENT) << message;
    }
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, HasTheProgramsIconInBothSizes) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) {
    const HICON icon = LoadIconW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDI_PELTO));
    EXPECT_NE(icon, nullptr);
    EXPECT_EQ(SendMessageW(window, WM_GETICON, ICON_BIG, 0), reinterpret_cast<LRESULT>(icon));
    EXPECT_EQ(SendMessageW(window, WM_GETICON, ICON_SMALL, 0), reinterpret_cast<LRESULT>(icon));
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, LeavesTheDraggedIconToTheSystem) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [&dialog](HWND window) {
    dialog.defaultAnswers[WM_QUERYDRAGICON] = 0x1234;
    EXPECT_EQ(SendMessageW(window, WM_QUERYDRAGICON, 0, 0), 0x1234);
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, IsDraggedByEveryPoint) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) {
    EXPECT_EQ(SendMessageW(window, WM_NCHITTEST, 0, 0), HTCAPTION);
    EXPECT_EQ(SendMessageW(window, WM_NCHITTEST, 0, -1), HTCAPTION);
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, AnswersOkWithItsNumber) {
  TestDialog dialog(&store_, 0, 0);
  EXPECT_EQ(RunModal(dialog, [](HWND window) { Click(window, IDOK); }), IDOK);
}

TEST_F(ConsentDialog, AnswersEscapeWithCancel) {
  TestDialog dialog(&store_, 0, 0);
  EXPECT_EQ(RunModal(dialog, [](HWND window) { PressKey(window, VK_ESCAPE); }), IDCANCEL);
}

TEST_F(ConsentDialog, AnswersRemindLaterWithZero) {
  TestDialog dialog(&store_, 0, 0);
  EXPECT_EQ(RunModal(dialog,
                     [](HWND window) {
                       SendMessageW(window, WM_COMMAND, MAKEWPARAM(IDC_REMIND_LATER, BN_CLICKED),
                                    0);
                     }),
            0);
  EXPECT_EQ(store_.GetConsentState(), 3);
}

/// Whether the dialog's loop has been told to end: that wakes it with an empty message.
bool IsEnding(const CWnd& dialog) {
  MSG message = {};
  return PeekMessageW(&message, dialog.m_hWnd, 0, 0, PM_NOREMOVE) && message.message == WM_NULL;
}

TEST_F(ConsentDialog, EndsBeforeItWritesThatItIsToRemindLater) {
  TestDialog dialog(&store_, 0, 0);
  const SettingsRecorder recorder;
  std::vector<bool> ending;
  SettingsRecorder::onWrite = [&] { ending.push_back(IsEnding(dialog)); };
  RunModal(dialog, [](HWND window) {
    SendMessageW(window, WM_COMMAND, MAKEWPARAM(IDC_REMIND_LATER, BN_CLICKED), 0);
  });
  EXPECT_EQ(SettingsRecorder::writes,
            (std::vector<SettingsRecorder::Write>{{L"General", L"PeltoState", L"3"}}));
  EXPECT_EQ(ending, std::vector<bool>{true});
}

TEST_F(ConsentDialog, WritesTheAnswerBeforeItEnds) {
  TestDialog dialog(&store_, 0, 0);
  const SettingsRecorder recorder;
  std::vector<bool> ending;
  SettingsRecorder::onWrite = [&] { ending.push_back(IsEnding(dialog)); };
  RunModal(dialog, [](HWND window) {
    Click(window, IDC_PARTICIPATE);
    Click(window, IDOK);
  });
  EXPECT_EQ(SettingsRecorder::writes,
            (std::vector<SettingsRecorder::Write>{{L"General", L"PeltoState", L"1"},
                                                  {L"General", L"Email", L""},
                                                  {L"General", L"ShowMessage", L"1"}}));
  EXPECT_EQ(ending, std::vector<bool>(3, false));
}

// What the file gets of the blanks is up to the system, some versions of which drop leading ones.
TEST_F(ConsentDialog, HandsTheAddressOnWithItsBlanks) {
  for (const wchar_t* const typed :
       {L"  user@example.com", L"user@example.com  ", L" \u00A0user@example.com\u00A0 "}) {
    TestDialog dialog(&store_, 0, 0);
    const SettingsRecorder recorder;
    RunModal(dialog, [typed](HWND window) {
      SetDlgItemTextW(window, IDC_EMAIL, typed);
      Click(window, IDOK);
    });
    ASSERT_EQ(SettingsRecorder::writes.size(), 3U);
    EXPECT_EQ(SettingsRecorder::writes[1], (SettingsRecorder::Write{L"General", L"Email", typed}));
  }
}

TEST_F(ConsentDialog, HidesRemindLaterButLeavesItThere) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [](HWND window) {
    const HWND button = GetDlgItem(window, IDC_REMIND_LATER);
    ASSERT_NE(button, nullptr);
    EXPECT_FALSE(GetWindowLongW(button, GWL_STYLE) & WS_VISIBLE);
    EXPECT_TRUE(IsWindowEnabled(button));
    Click(window, IDOK);
  });
}

TEST_F(ConsentDialog, CutsTheAddressAfter1039CharactersBeforeItLooksAtIt) {
  struct Case {
    std::wstring typed;
    std::wstring stored;
  };
  const Case cases[] = {
      // The dot is the last character that is kept, or the first that is not.
      {L"@" + std::wstring(1'037, L'a') + L".", L"@" + std::wstring(1'037, L'a') + L"."},
      {L"@" + std::wstring(1'038, L'a') + L".", L""},
      {L"a@b." + std::wstring(2'000, L'c'), L"a@b." + std::wstring(1'035, L'c')},
      {std::wstring(1'038, L'a') + L"@.b", L""},
  };
  for (const Case& example : cases) {
    TestDialog dialog(&store_, 0, 0);
    RunModal(dialog, [&example](HWND window) {
      SetDlgItemTextW(window, IDC_EMAIL, example.typed.c_str());
      Click(window, IDOK);
    });
    // Reading it through the store has a limit of its own.
    EXPECT_EQ(StoredEmail(), example.stored);
  }
}

TEST_F(ConsentDialog, ChoosesNeitherWithoutParticipate) {
  store_.SetConsentState(2);
  class WithoutParticipate : public TestDialog {
   public:
    using TestDialog::TestDialog;

   protected:
    BOOL OnInitDialog() override {
      ::DestroyWindow(GetDlgItem(m_hWnd, IDC_PARTICIPATE));
      return TestDialog::OnInitDialog();
    }
  };
  WithoutParticipate without(&store_, 0, 0);
  RunModal(without, [](HWND window) {
    EXPECT_NE(GetDlgItem(window, IDC_DECLINE), nullptr);
    EXPECT_FALSE(IsChecked(window, IDC_DECLINE));
    Click(window, IDOK);
  });
  EXPECT_EQ(store_.GetConsentState(), 2);
}

TEST_F(ConsentDialog, ChoosesNeitherWithoutDecline) {
  store_.SetConsentState(1);
  class WithoutDecline : public TestDialog {
   public:
    using TestDialog::TestDialog;

   protected:
    BOOL OnInitDialog() override {
      ::DestroyWindow(GetDlgItem(m_hWnd, IDC_DECLINE));
      return TestDialog::OnInitDialog();
    }
  };
  WithoutDecline without(&store_, 0, 0);
  RunModal(without, [](HWND window) {
    EXPECT_FALSE(IsChecked(window, IDC_PARTICIPATE));
    Click(window, IDOK);
  });
  EXPECT_EQ(store_.GetConsentState(), 2);
}

TEST_F(ConsentDialog, WorksWithNothingButOk) {
  store_.SetConsentState(1);
  store_.SetEmail(L"user@example.com");
  store_.SetShowMessage(false);
  const CLibraryHandle texts = LoadTestLibrary(L"bare_dialog.dll");
  AfxSetResourceHandle(texts.Get());
  {
    TestDialog dialog(&store_, 0, 0);
    RunModal(dialog, [](HWND window) {
      EXPECT_EQ(GetDlgItem(window, IDC_PARTICIPATE), nullptr);
      Click(window, IDOK);
    });
  }
  EXPECT_EQ(store_.GetConsentState(), 2);
  EXPECT_EQ(store_.GetEmail(), L"");
  EXPECT_TRUE(store_.GetShowMessage());
}

TEST_F(ConsentDialog, DrawsItsIconWhenMinimised) {
  TestDialog dialog(&store_, 0, 0);
  RunModal(
      dialog, [](HWND window) { ShowWindow(window, SW_MINIMIZE); },
      [](HWND window) {
        EXPECT_TRUE(IsIconic(window));
        InvalidateRect(window, nullptr, TRUE);
        SendMessageW(window, WM_PAINT, 0, 0);
        EXPECT_FALSE(GetUpdateRect(window, nullptr, FALSE)) << "the paint is done with";
        ShowWindow(window, SW_RESTORE);
        PostMessageW(window, WM_COMMAND, IDOK, 0);
      });
}

TEST_F(ConsentDialog, ErasesTheGroundOfItsIconFirstWhenMinimised) {
  class MinimizedDialog : public TestDialog {
   public:
    using TestDialog::TestDialog;
    std::vector<HDC> erased;

   protected:
    LRESULT WindowProc(UINT message, WPARAM first, LPARAM second) override {
      if (message == WM_ICONERASEBKGND) {
        const auto dc = reinterpret_cast<HDC>(first);
        EXPECT_EQ(GetObjectType(dc), DWORD{OBJ_DC});
        EXPECT_TRUE(IconRecorder::drawings.empty());
        erased.push_back(dc);
      }
      return TestDialog::WindowProc(message, first, second);
    }
  };
  const IconRecorder icons;
  MinimizedDialog dialog(&store_, 0, 0);
  RunModal(
      dialog, [](HWND window) { ShowWindow(window, SW_MINIMIZE); },
      [this, &dialog](HWND window) {
        dialog.erased.clear();
        dialog.defaults.clear();
        IconRecorder::drawings.clear();
        InvalidateRect(window, nullptr, TRUE);
        SendMessageW(window, WM_PAINT, 0, 0);
        ASSERT_EQ(IconRecorder::drawings.size(), 1U);
        EXPECT_EQ(IconRecorder::drawings[0].icon, IconOf(program_));
        EXPECT_EQ(dialog.erased, std::vector<HDC>{IconRecorder::drawings[0].dc});
        for (const auto& [message, first] : dialog.defaults) EXPECT_NE(message, UINT{WM_PAINT});
        ShowWindow(window, SW_RESTORE);
        PostMessageW(window, WM_COMMAND, IDOK, 0);
      });
}

TEST_F(ConsentDialog, LeavesItsPaintToTheSystemUnlessMinimised) {
  const IconRecorder icons;
  TestDialog dialog(&store_, 0, 0);
  RunModal(dialog, [&dialog](HWND window) {
    dialog.defaults.clear();
    InvalidateRect(window, nullptr, TRUE);
    SendMessageW(window, WM_PAINT, 0, 0);
    ASSERT_FALSE(dialog.defaults.empty());
    EXPECT_EQ(dialog.defaults[0].first, UINT{WM_PAINT});
    EXPECT_TRUE(IconRecorder::drawings.empty());
    Click(window, IDOK);
  });
}

/// A context in memory with a bitmap of its own, one color all over.
class Sheet {
 public:
  Sheet(HDC like, int width, int height, COLORREF color)
      : bitmap_(CreateCompatibleBitmap(like, width, height)) {
    dc_.CreateCompatibleDC(nullptr);
    previous_ = SelectObject(dc_, bitmap_);
    const RECT area = {0, 0, width, height};
    const HBRUSH brush = CreateSolidBrush(color);
    FillRect(dc_, &area, brush);
    DeleteObject(brush);
  }
  ~Sheet() {
    SelectObject(dc_, previous_);
    DeleteObject(bitmap_);
  }
  Sheet(const Sheet&) = delete;
  Sheet& operator=(const Sheet&) = delete;

  operator HDC() const { return dc_; }

 private:
  CDC dc_;
  HBITMAP bitmap_;
  HGDIOBJ previous_ = nullptr;
};

/// The pixels in which two contexts differ.
int Differences(HDC one, HDC other, int width, int height) {
  int count = 0;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) count += GetPixel(one, x, y) != GetPixel(other, x, y);
  }
  return count;
}

/// Makes all of a window of this size its client area.
void ResizeWithoutFrame(HWND window, int width, int height) {
  SetWindowLongW(window, GWL_STYLE, GetWindowLongW(window, GWL_STYLE) & ~WS_BORDER);
  SetWindowPos(window, nullptr, 0, 0, width, height,
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_FRAMECHANGED);
  RECT area;
  GetClientRect(window, &area);
  EXPECT_EQ(area.right, width);
  EXPECT_EQ(area.bottom, height);
}

TEST_F(ConsentDialog, DrawsItsIconInTheMiddleWhenMinimised) {
  ASSERT_EQ(GetSystemMetrics(SM_CXICON), 32);
  ASSERT_EQ(GetSystemMetrics(SM_CYICON), 32);
  struct Case {
    int width;
    int height;
    int left;
    int top;
  };
  // Half a pixel goes to the right and down; an area that is too small is rounded towards zero.
  const Case cases[] = {{161, 61, 65, 15}, {160, 60, 64, 14}, {97, 44, 33, 6}, {24, 21, -3, -5}};
  // It has nothing in these areas.
  const CLibraryHandle texts = LoadTestLibrary(L"bare_dialog.dll");
  AfxSetResourceHandle(texts.Get());
  for (const Case& example : cases) {
    const int width = example.width;
    const int height = example.height;
    TestDialog dialog(&store_, 0, 0);
    RunModal(dialog, [&](HWND window) {
      // The context that paints a minimised window may count from the frame's corner.
      ResizeWithoutFrame(window, width, height);
      // In name only, so that there are an area and pixels to look at.
      SetWindowLongW(window, GWL_STYLE, GetWindowLongW(window, GWL_STYLE) | WS_MINIMIZE);
      EXPECT_TRUE(IsIconic(window));
      // Leaves the ground as the test paints it.
      dialog.defaultAnswers[WM_ICONERASEBKGND] = TRUE;

      const HDC dc = GetDC(window);
      const Sheet ground(dc, width, height, RGB(255, 0, 0));
      BitBlt(dc, 0, 0, width, height, ground, 0, 0, SRCCOPY);
      InvalidateRect(window, nullptr, FALSE);
      SendMessageW(window, WM_PAINT, 0, 0);
      EXPECT_GT(Differences(dc, ground, width, height), 100);
      const Sheet expected(dc, width, height, RGB(255, 0, 0));
      DrawIcon(expected, example.left, example.top, IconOf(program_));
      EXPECT_EQ(Differences(dc, expected, width, height), 0) << width << " x " << height;
      ReleaseDC(window, dc);
      PostMessageW(window, WM_COMMAND, IDOK, 0);
    });
  }
}

/// The numbers of the GDI objects that this process holds, by kind.
std::map<DWORD, int> GdiObjects() {
  std::map<DWORD, int> objects;
  for (UINT_PTR index = 1; index < 0x10000; ++index) {
    const DWORD kind = GetObjectType(reinterpret_cast<HGDIOBJ>(index));
    if (kind != 0) ++objects[kind];
  }
  return objects;
}

BOOL CALLBACK CountWindow(HWND, LPARAM count) {
  ++*reinterpret_cast<int*>(count);
  return TRUE;
}

int ThreadWindows() {
  int count = 0;
  EnumThreadWindows(GetCurrentThreadId(), &CountWindow, reinterpret_cast<LPARAM>(&count));
  return count;
}

TEST_F(ConsentDialog, Leaves200TimesNothingButItsPictures) {
  const auto show = [this] {
    TestDialog dialog(&store_, 0, 0);
    RunModal(dialog, [](HWND window) { Click(window, IDOK); });
  };
  // The first ones make what a process has once.
  show();
  show();
  std::map<DWORD, int> before = GdiObjects();
  ASSERT_NE(LoadBackgroundPicture(), nullptr);
  const int perPicture = GdiObjects()[OBJ_BITMAP] - before[OBJ_BITMAP];
  // The bitmap and, in some versions of the graphics library, one of the decoded image.
  ASSERT_TRUE(perPicture == 1 || perPicture == 2) << perPicture;

  before = GdiObjects();
  const int windowsBefore = ThreadWindows();
  constexpr int Times = 200;
  for (int time = 0; time < Times; ++time) show();
  std::map<DWORD, int> expected = before;
  // Each dialog deliberately leaves its picture.
  expected[OBJ_BITMAP] += Times * perPicture;
  EXPECT_EQ(GdiObjects(), expected);
  EXPECT_EQ(ThreadWindows(), windowsBefore);
}

}  // namespace
