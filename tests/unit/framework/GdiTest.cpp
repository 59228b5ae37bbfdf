#include <gtest/gtest.h>

#include <functional>

#include "framework/afxwin.h"
#include "tests/support/PlainWindow.h"

namespace {

constexpr int Rounds = 100;

/// How many GDI objects are left after many runs of `use`. Without a leak it is none, give or take
/// a few that the system keeps for later.
long Left(const std::function<void()>& use) {
  use();
  const auto before = static_cast<long>(GdiObjectCount());
  for (int round = 0; round < Rounds; ++round) use();
  return static_cast<long>(GdiObjectCount()) - before;
}

constexpr long Tolerated = 5;

TEST(GdiObjectCount, GrowsAndShrinksByOne) {
  const size_t before = GdiObjectCount();
  const HBRUSH brush = CreateSolidBrush(RGB(1, 2, 3));
  EXPECT_EQ(GdiObjectCount(), before + 1);
  DeleteObject(brush);
  EXPECT_EQ(GdiObjectCount(), before);
}

// Fonts.

LOGFONTW Tahoma(LONG height) {
  LOGFONTW description = {};
  description.lfHeight = height;
  description.lfUnderline = TRUE;
  lstrcpyW(description.lfFaceName, L"Tahoma");
  return description;
}

TEST(Font, HasNoHandleAtFirst) {
  const CFont font;
  EXPECT_EQ(HFONT{font}, nullptr);
}

TEST(Font, IsTheOneThatItsDescriptionAsksFor) {
  CFont font;
  const LOGFONTW asked = Tahoma(-17);
  EXPECT_TRUE(font.CreateFontIndirect(&asked));
  LOGFONTW made = {};
  ASSERT_EQ(GetObjectW(HFONT{font}, sizeof made, &made), int{sizeof made});
  EXPECT_EQ(made.lfHeight, -17);
  EXPECT_EQ(made.lfUnderline, TRUE);
  EXPECT_STREQ(made.lfFaceName, L"Tahoma");
}

TEST(Font, IsFreedByItsDestructor) {
  HFONT handle = nullptr;
  {
    CFont font;
    const LOGFONTW asked = Tahoma(-17);
    ASSERT_TRUE(font.CreateFontIndirect(&asked));
    handle = font;
    EXPECT_EQ(GetObjectType(handle), DWORD{OBJ_FONT});
  }
  EXPECT_EQ(GetObjectType(handle), 0U);
}

TEST(Font, IsFreedWhenAnotherIsMade) {
  CFont font;
  const LOGFONTW asked = Tahoma(-17);
  ASSERT_TRUE(font.CreateFontIndirect(&asked));
  const HFONT first = font;
  const LOGFONTW other = Tahoma(-18);
  EXPECT_TRUE(font.CreateFontIndirect(&other));
  EXPECT_EQ(GetObjectType(first), 0U);
  EXPECT_EQ(GetObjectType(HFONT{font}), DWORD{OBJ_FONT});
  LOGFONTW made = {};
  ASSERT_EQ(GetObjectW(HFONT{font}, sizeof made, &made), int{sizeof made});
  EXPECT_EQ(made.lfHeight, -18);
}

TEST(Font, IsFreedByDeleteObjectOnce) {
  CFont font;
  const LOGFONTW asked = Tahoma(-17);
  ASSERT_TRUE(font.CreateFontIndirect(&asked));
  const HFONT handle = font;
  font.DeleteObject();
  EXPECT_EQ(HFONT{font}, nullptr);
  EXPECT_EQ(GetObjectType(handle), 0U);
  font.DeleteObject();
  EXPECT_EQ(HFONT{font}, nullptr);
}

TEST(Font, CanBeMadeAgainAfterDeleteObject) {
  CFont font;
  const LOGFONTW asked = Tahoma(-17);
  ASSERT_TRUE(font.CreateFontIndirect(&asked));
  font.DeleteObject();
  EXPECT_TRUE(font.CreateFontIndirect(&asked));
  EXPECT_EQ(GetObjectType(HFONT{font}), DWORD{OBJ_FONT});
}

TEST(Font, ThatTheSystemDoesNotGiveIsNotMade) {
  CFont font;
  const LOGFONTW asked = Tahoma(-17);
  ASSERT_TRUE(font.CreateFontIndirect(&asked));
  EXPECT_FALSE(font.CreateFontIndirect(nullptr));
  EXPECT_EQ(HFONT{font}, nullptr);
}

TEST(Font, LeavesNoObjects) {
  EXPECT_LE(Left([] {
              CFont font;
              const LOGFONTW asked = Tahoma(-17);
              font.CreateFontIndirect(&asked);
              font.CreateFontIndirect(&asked);
            }),
            Tolerated);
}

// Device contexts.

TEST(DeviceContext, HasNoHandleAtFirst) {
  const CDC dc;
  EXPECT_EQ(HDC{dc}, nullptr);
  EXPECT_EQ(dc.m_hDC, nullptr);
}

TEST(DeviceContext, ThatIsBorrowedStaysItsOwners) {
  const HDC context = CreateCompatibleDC(nullptr);
  {
    const CDC dc(context);
    EXPECT_EQ(HDC{dc}, context);
  }
  EXPECT_EQ(GetObjectType(context), DWORD{OBJ_MEMDC});
  DeleteDC(context);
}

TEST(MemoryContext, IsMadeForTheScreen) {
  CDC dc;
  EXPECT_TRUE(dc.CreateCompatibleDC(nullptr));
  EXPECT_EQ(GetObjectType(HDC{dc}), DWORD{OBJ_MEMDC});
}

TEST(MemoryContext, IsMadeForAnotherContext) {
  CDC first;
  ASSERT_TRUE(first.CreateCompatibleDC(nullptr));
  CDC second;
  EXPECT_TRUE(second.CreateCompatibleDC(&first));
  EXPECT_EQ(GetObjectType(HDC{second}), DWORD{OBJ_MEMDC});
  EXPECT_NE(HDC{second}, HDC{first});
}

TEST(MemoryContext, IsNotMadeForWhatIsNoContext) {
  const HDC deleted = CreateCompatibleDC(nullptr);
  DeleteDC(deleted);
  const CDC none(deleted);
  CDC dc;
  EXPECT_FALSE(dc.CreateCompatibleDC(&none));
  EXPECT_EQ(HDC{dc}, nullptr);
}

TEST(MemoryContext, IsFreedByItsDestructor) {
  HDC context = nullptr;
  {
    CDC dc;
    ASSERT_TRUE(dc.CreateCompatibleDC(nullptr));
    context = dc;
  }
  EXPECT_EQ(GetObjectType(context), 0U);
}

TEST(MemoryContext, LeavesNoObjects) {
  EXPECT_LE(Left([] {
              CDC dc;
              dc.CreateCompatibleDC(nullptr);
            }),
            Tolerated);
}

TEST(ClientContext, PaintsWhatIsWithinTheFrame) {
  const PlainWindow plain(nullptr, {50, 60, 250, 210});
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  window.ModifyStyle(0, WS_CAPTION);
  SetWindowPos(plain, nullptr, 0, 0, 0, 0,
               SWP_FRAMECHANGED | SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
  window.ShowWindow(SW_SHOWNOACTIVATE);
  POINT corner = {};
  ClientToScreen(plain, &corner);
  ASSERT_GT(corner.y, 60) << "no caption";
  const CClientDC dc(&window);
  EXPECT_EQ(WindowFromDC(dc), HWND{plain});
  POINT origin = {};
  EXPECT_TRUE(GetDCOrgEx(dc, &origin));
  EXPECT_EQ(origin.x, corner.x);
  EXPECT_EQ(origin.y, corner.y);
}

TEST(ClientContext, IsGivenBack) {
  const PlainWindow plain;
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  HDC context = nullptr;
  {
    const CClientDC dc(&window);
    context = dc;
  }
  EXPECT_EQ(WindowFromDC(context), nullptr);
}

TEST(ClientContext, LeavesNoObjects) {
  const PlainWindow plain;
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  EXPECT_LE(Left([&window] { const CClientDC dc(&window); }), Tolerated);
}

class Painted : public CWnd {
 public:
  int paints = 0;
  HWND painted = nullptr;
  HDC context = nullptr;
  RECT clip = {};

 protected:
  DECLARE_MESSAGE_MAP()

 private:
  void OnPaint() {
    ++paints;
    const CPaintDC dc(this);
    context = dc;
    painted = WindowFromDC(dc);
    GetClipBox(dc, &clip);
  }
};

BEGIN_MESSAGE_MAP(Painted, CWnd)
ON_WM_PAINT()
END_MESSAGE_MAP()

class PaintContext : public testing::Test {
 protected:
  PaintContext() {
    EXPECT_TRUE(window_.SubclassWindow(plain_));
    window_.ShowWindow(SW_SHOWNOACTIVATE);
    UpdateWindow(plain_);
    window_.paints = 0;
  }

  PlainWindow plain_;
  Painted window_;
};

TEST_F(PaintContext, PaintsTheWindow) {
  InvalidateRect(plain_, nullptr, FALSE);
  UpdateWindow(plain_);
  EXPECT_EQ(window_.paints, 1);
  EXPECT_EQ(window_.painted, HWND{plain_});
}

TEST_F(PaintContext, IsClippedToWhatIsToBePainted) {
  const RECT part = {10, 12, 30, 28};
  InvalidateRect(plain_, &part, FALSE);
  UpdateWindow(plain_);
  EXPECT_TRUE(EqualRect(&window_.clip, &part))
      << window_.clip.left << ", " << window_.clip.top << ", " << window_.clip.right << ", "
      << window_.clip.bottom;
}

TEST_F(PaintContext, LeavesNothingToBePainted) {
  InvalidateRect(plain_, nullptr, FALSE);
  UpdateWindow(plain_);
  EXPECT_FALSE(GetUpdateRect(plain_, nullptr, FALSE));
  DispatchWaitingMessages();
  EXPECT_EQ(window_.paints, 1);
}

TEST_F(PaintContext, IsGivenBack) {
  InvalidateRect(plain_, nullptr, FALSE);
  UpdateWindow(plain_);
  ASSERT_NE(window_.context, nullptr);
  EXPECT_EQ(WindowFromDC(window_.context), nullptr);
}

TEST_F(PaintContext, LeavesNoObjects) {
  EXPECT_LE(Left([this] {
              InvalidateRect(plain_, nullptr, FALSE);
              UpdateWindow(plain_);
            }),
            Tolerated);
  EXPECT_EQ(window_.paints, Rounds + 1);
}

}  // namespace
