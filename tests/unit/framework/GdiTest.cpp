#include <gtest/gtest.h>

#include <functional>

#include "framework/afxwin.h"
#include "tests/support/PlainWindow.h"

namespace {

constexpr int Rounds = 100;

/// After many runs of `use` there are as many GDI objects as after the first, give or take a few
/// that the system keeps for later.
void ExpectNoLeak(const std::function<void()>& use) {
  use();
  const size_t before = CountGdiObjects();
  for (int round = 0; round < Rounds; ++round) use();
  EXPECT_LE(CountGdiObjects(), before + 5);
}

TEST(GdiObjectCount, GrowsAndShrinksByOne) {
  const size_t before = CountGdiObjects();
  const size_t fonts = CountGdiObjects(OBJ_FONT);
  const HBRUSH brush = CreateSolidBrush(RGB(1, 2, 3));
  EXPECT_EQ(CountGdiObjects(), before + 1);
  EXPECT_EQ(CountGdiObjects(OBJ_FONT), fonts);
  DeleteObject(brush);
  EXPECT_EQ(CountGdiObjects(), before);
}

// Fonts.

LOGFONTW DescribeTahoma(LONG height) {
  LOGFONTW description = {};
  description.lfHeight = height;
  description.lfUnderline = TRUE;
  lstrcpyW(description.lfFaceName, L"Tahoma");
  return description;
}

/// The font is the one that `DescribeTahoma` describes.
void ExpectTahoma(const CFont& font, LONG height) {
  LOGFONTW made = {};
  ASSERT_EQ(GetObjectW(HFONT{font}, sizeof made, &made), int{sizeof made});
  EXPECT_EQ(made.lfHeight, height);
  EXPECT_EQ(made.lfUnderline, TRUE);
  EXPECT_STREQ(made.lfFaceName, L"Tahoma");
}

class Font : public testing::Test {
 protected:
  Font() { EXPECT_EQ(HFONT{font_}, nullptr); }

  const LOGFONTW described_ = DescribeTahoma(-17);
  CFont font_;
};

TEST_F(Font, IsTheOneThatItsDescriptionAsksFor) {
  EXPECT_TRUE(font_.CreateFontIndirect(&described_));
  ExpectTahoma(font_, -17);
}

TEST_F(Font, IsFreedByItsDestructor) {
  HFONT handle = nullptr;
  {
    CFont font;
    ASSERT_TRUE(font.CreateFontIndirect(&described_));
    handle = font;
    EXPECT_EQ(GetObjectType(handle), DWORD{OBJ_FONT});
  }
  EXPECT_EQ(GetObjectType(handle), 0U);
}

TEST_F(Font, IsFreedWhenAnotherIsMade) {
  ASSERT_TRUE(font_.CreateFontIndirect(&described_));
  const HFONT first = font_;
  const LOGFONTW other = DescribeTahoma(-18);
  EXPECT_TRUE(font_.CreateFontIndirect(&other));
  EXPECT_EQ(GetObjectType(first), 0U);
  ExpectTahoma(font_, -18);
}

TEST_F(Font, IsFreedByDeleteObjectOnceAndCanBeMadeAgain) {
  ASSERT_TRUE(font_.CreateFontIndirect(&described_));
  const HFONT handle = font_;
  for (int time = 0; time < 2; ++time) {
    font_.DeleteObject();
    EXPECT_EQ(HFONT{font_}, nullptr);
    EXPECT_EQ(GetObjectType(handle), 0U);
  }
  EXPECT_TRUE(font_.CreateFontIndirect(&described_));
  ExpectTahoma(font_, -17);
}

TEST_F(Font, IsNotMadeWhenTheSystemRefusesIt) {
  ASSERT_TRUE(font_.CreateFontIndirect(&described_));
  EXPECT_FALSE(font_.CreateFontIndirect(nullptr));
  EXPECT_EQ(HFONT{font_}, nullptr);
}

TEST_F(Font, LeavesNoObjects) {
  ExpectNoLeak([this] {
    CFont font;
    font.CreateFontIndirect(&described_);
    font.CreateFontIndirect(&described_);
  });
}

// Device contexts.

TEST(DeviceContext, HasNoHandleAtFirst) {
  const CDC dc;
  EXPECT_EQ(HDC{dc}, nullptr);
  EXPECT_EQ(dc.m_hDC, nullptr);
}

TEST(DeviceContext, LeavesABorrowedOneToItsOwner) {
  const HDC context = CreateCompatibleDC(nullptr);
  {
    const CDC dc(context);
    EXPECT_EQ(HDC{dc}, context);
  }
  EXPECT_EQ(GetObjectType(context), DWORD{OBJ_MEMDC});
  DeleteDC(context);
}

TEST(MemoryContext, IsMadeForTheScreenOrAnotherContextAndFreedByItsDestructor) {
  HDC contexts[2] = {};
  {
    CDC first;
    EXPECT_TRUE(first.CreateCompatibleDC(nullptr));
    CDC second;
    EXPECT_TRUE(second.CreateCompatibleDC(&first));
    EXPECT_NE(HDC{second}, HDC{first});
    contexts[0] = first;
    contexts[1] = second;
    for (const HDC context : contexts) EXPECT_EQ(GetObjectType(context), DWORD{OBJ_MEMDC});
  }
  for (const HDC context : contexts) EXPECT_EQ(GetObjectType(context), 0U);
}

TEST(MemoryContext, IsNotMadeForADeletedContext) {
  const HDC deleted = CreateCompatibleDC(nullptr);
  DeleteDC(deleted);
  const CDC none(deleted);
  CDC dc;
  EXPECT_FALSE(dc.CreateCompatibleDC(&none));
  EXPECT_EQ(HDC{dc}, nullptr);
}

TEST(MemoryContext, LeavesNoObjects) {
  ExpectNoLeak([] {
    CDC dc;
    dc.CreateCompatibleDC(nullptr);
  });
}

TEST(ClientContext, PaintsWithinTheFrame) {
  Attached<> attached(nullptr, {50, 60, 250, 210});
  attached.window.ModifyStyle(0, WS_CAPTION);
  SetWindowPos(attached.plain, nullptr, 0, 0, 0, 0,
               SWP_FRAMECHANGED | SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
  attached.window.ShowWindow(SW_SHOWNOACTIVATE);
  POINT corner = {};
  ClientToScreen(attached.plain, &corner);
  ASSERT_GT(corner.y, 60) << "no caption";
  const CClientDC dc(&attached.window);
  EXPECT_EQ(WindowFromDC(dc), HWND{attached.plain});
  POINT origin = {};
  EXPECT_TRUE(GetDCOrgEx(dc, &origin));
  EXPECT_EQ(CPoint(origin.x, origin.y), CPoint(corner.x, corner.y));
}

TEST(ClientContext, IsReleased) {
  Attached<> attached;
  HDC context = nullptr;
  {
    const CClientDC dc(&attached.window);
    context = dc;
  }
  EXPECT_EQ(WindowFromDC(context), nullptr);
  ExpectNoLeak([&attached] { const CClientDC dc(&attached.window); });
}

/// Records its paints.
class Painted : public ScriptedWindow<> {
 public:
  Painted() {
    handlers[WM_PAINT] = [this](WPARAM, LPARAM) -> LRESULT {
      ++paints;
      const CPaintDC dc(this);
      context = dc;
      painted = WindowFromDC(dc);
      GetClipBox(dc, &clip);
      return 0;
    };
  }

  int paints = 0;
  HWND painted = nullptr;
  HDC context = nullptr;
  RECT clip = {};
};

class PaintContext : public testing::Test, protected Attached<Painted> {
 protected:
  PaintContext() {
    window.ShowWindow(SW_SHOWNOACTIVATE);
    UpdateWindow(plain);
    window.paints = 0;
  }

  void Repaint(const RECT* part = nullptr) {
    InvalidateRect(plain, part, FALSE);
    UpdateWindow(plain);
  }
};

TEST_F(PaintContext, PaintsTheWindowAndIsReleased) {
  Repaint();
  EXPECT_EQ(window.paints, 1);
  EXPECT_EQ(window.painted, HWND{plain});
  ASSERT_NE(window.context, nullptr);
  EXPECT_EQ(WindowFromDC(window.context), nullptr);
}

TEST_F(PaintContext, IsClippedToTheInvalidPart) {
  const RECT part = {10, 12, 30, 28};
  Repaint(&part);
  EXPECT_TRUE(EqualRect(&window.clip, &part)) << window.clip.left << ", " << window.clip.top << ", "
                                              << window.clip.right << ", " << window.clip.bottom;
}

TEST_F(PaintContext, LeavesNothingInvalid) {
  Repaint();
  // Not after dispatching messages: the screen may ask for another paint of a new window.
  EXPECT_FALSE(GetUpdateRect(plain, nullptr, FALSE));
  EXPECT_EQ(window.paints, 1);
}

TEST_F(PaintContext, LeavesNoObjects) {
  ExpectNoLeak([this] { Repaint(); });
  EXPECT_EQ(window.paints, Rounds + 1);
}

}  // namespace
