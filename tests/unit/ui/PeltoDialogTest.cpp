#include "ui/PeltoDialog.h"

#include <gtest/gtest.h>
#include <objidl.h>

#include <gdiplus.h>

#include <map>
#include <string>
#include <vector>

#include "platform/Handles.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"
#include "ui/BackgroundPicture.h"
#include "ui/resource.h"

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

  std::vector<int> opacities;
  /// By id, the timers that have come.
  std::map<WPARAM, int> timers;

 protected:
  BOOL OnInitDialog() override {
    const BOOL result = PeltoDialog::OnInitDialog();
    opacities.push_back(Opacity());
    return result;
  }
  LRESULT WindowProc(UINT message, WPARAM first, LPARAM second) override {
    const LRESULT result = PeltoDialog::WindowProc(message, first, second);
    if (message == WM_TIMER) {
      ++timers[first];
      opacities.push_back(Opacity());
    }
    return result;
  }
};

class ConsentDialog : public testing::Test {
 protected:
  void SetUp() override {
    AfxSetResourceHandle(GetModuleHandleW(nullptr));
    ASSERT_TRUE(store_.Open(folder_.Path().wstring()));
  }
  void TearDown() override {
    AfxSetResourceHandle(GetModuleHandleW(nullptr));
    TestDialog::layered_ = {};
  }

  /// The address as it stands in the settings file.
  std::wstring StoredEmail() const {
    const std::string settings = ReadBytes(folder_ / L"PeltoReport.ini");
    const size_t start = settings.find("\nEmail=") + 7;
    return {settings.begin() + static_cast<std::ptrdiff_t>(start),
            settings.begin() + static_cast<std::ptrdiff_t>(settings.find('\r', start))};
  }

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
    void* bits = nullptr;
    bitmap_ = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
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

  static constexpr int Side = 800;
  BOOL result = TRUE;

 private:
  CDC dc_;
  HBITMAP bitmap_ = nullptr;
  HGDIOBJ previous_ = nullptr;
};

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
  EXPECT_EQ(store_.ConsentState(), 3);
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

TEST_F(ConsentDialog, ChoosesNeitherWhenOneOfTheTwoIsMissing) {
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
  EXPECT_EQ(store_.ConsentState(), 2);
}

TEST_F(ConsentDialog, WorksWithNothingButOk) {
  store_.SetConsentState(1);
  store_.SetEmail(L"user@example.com");
  store_.SetShowsMessage(false);
  const LibraryHandle texts(LoadLibraryW((ProgramFolder() + L"\\bare_dialog.dll").c_str()));
  ASSERT_TRUE(texts) << GetLastError();
  AfxSetResourceHandle(texts.Get());
  {
    TestDialog dialog(&store_, 0, 0);
    RunModal(dialog, [](HWND window) {
      EXPECT_EQ(GetDlgItem(window, IDC_PARTICIPATE), nullptr);
      Click(window, IDOK);
    });
  }
  EXPECT_EQ(store_.ConsentState(), 2);
  EXPECT_EQ(store_.Email(), L"");
  EXPECT_TRUE(store_.ShowsMessage());
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
