#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "framework/afxwin.h"
#include "tests/support/PlainWindow.h"

// So that a failure names the place.
void PrintTo(const RECT& place, std::ostream* out) {
  *out << place.left << ", " << place.top << ", " << place.right << ", " << place.bottom;
}
bool operator==(const RECT& one, const RECT& other) {
  return EqualRect(&one, &other) != 0;
}
void PrintTo(const CPoint& point, std::ostream* out) {
  *out << point.x << ", " << point.y;
}

namespace {

using Messages = std::vector<PlainWindow::Message>;

constexpr UINT FirstMessage = WM_APP + 1;
constexpr UINT SecondMessage = WM_APP + 2;
constexpr UINT ThirdMessage = WM_APP + 3;
constexpr UINT UnansweredMessage = WM_APP + 4;

// Subclassing.

TEST(Subclassing, AttachesTheObjectToTheWindow) {
  const PlainWindow plain;
  CWnd window;
  EXPECT_TRUE(window.SubclassWindow(plain));
  EXPECT_EQ(window.m_hWnd, HWND{plain});
  EXPECT_EQ(CWnd::FromHandlePermanent(plain), &window);
}

TEST(Subclassing, OfNoWindowFails) {
  CWnd window;
  EXPECT_FALSE(window.SubclassWindow(nullptr));
  EXPECT_EQ(window.m_hWnd, nullptr);
  EXPECT_EQ(CWnd::FromHandlePermanent(nullptr), nullptr);
}

TEST(Subclassing, OfADestroyedWindowFails) {
  const PlainWindow plain;
  DestroyWindow(plain);
  CWnd window;
  EXPECT_FALSE(window.SubclassWindow(plain));
  EXPECT_EQ(window.m_hWnd, nullptr);
  EXPECT_EQ(CWnd::FromHandlePermanent(plain), nullptr);
}

TEST(Subclassing, OfAnAttachedWindowFailsAndLeavesItToTheFirstObject) {
  const PlainWindow plain;
  CWnd first;
  ASSERT_TRUE(first.SubclassWindow(plain));
  {
    CWnd second;
    EXPECT_FALSE(second.SubclassWindow(plain));
    EXPECT_EQ(second.m_hWnd, nullptr);
  }
  EXPECT_TRUE(IsWindow(plain));
  EXPECT_EQ(first.m_hWnd, HWND{plain});
  EXPECT_EQ(CWnd::FromHandlePermanent(plain), &first);
}

TEST(Subclassing, TwiceWithOneObjectFailsTheSecondTime) {
  const PlainWindow plain;
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  EXPECT_FALSE(window.SubclassWindow(plain));
  EXPECT_EQ(window.m_hWnd, HWND{plain});
}

TEST(Subclassing, OfASecondWindowFailsAndKeepsTheFirst) {
  const PlainWindow plain;
  const PlainWindow other;
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  EXPECT_FALSE(window.SubclassWindow(other));
  EXPECT_EQ(window.m_hWnd, HWND{plain});
  EXPECT_EQ(CWnd::FromHandlePermanent(other), nullptr);
}

TEST(Subclassing, WorksAgainAfterTheWindowHasGone) {
  CWnd window;
  {
    const PlainWindow plain;
    ASSERT_TRUE(window.SubclassWindow(plain));
  }
  const PlainWindow next;
  EXPECT_TRUE(window.SubclassWindow(next));
  EXPECT_EQ(window.m_hWnd, HWND{next});
  EXPECT_EQ(CWnd::FromHandlePermanent(next), &window);
}

TEST(Subclassing, TellsItsWindowsApart) {
  const PlainWindow plain;
  const PlainWindow other;
  const PlainWindow unattached;
  CWnd window;
  CWnd second;
  ASSERT_TRUE(window.SubclassWindow(plain));
  ASSERT_TRUE(second.SubclassWindow(other));
  EXPECT_EQ(CWnd::FromHandlePermanent(plain), &window);
  EXPECT_EQ(CWnd::FromHandlePermanent(other), &second);
  EXPECT_EQ(CWnd::FromHandlePermanent(unattached), nullptr);
}

class PreSubclassed : public CWnd {
 public:
  int calls = 0;
  int handled = 0;
  HWND handleSeen = nullptr;
  CWnd* objectSeen = nullptr;
  bool throws = false;

 protected:
  DECLARE_MESSAGE_MAP()

  void PreSubclassWindow() override {
    ++calls;
    handleSeen = m_hWnd;
    objectSeen = FromHandlePermanent(m_hWnd);
    SendMessage(FirstMessage);
    if (throws) throw std::runtime_error("PreSubclassWindow");
  }

 private:
  LRESULT OnFirst(WPARAM, LPARAM) {
    ++handled;
    return 0;
  }
};

BEGIN_MESSAGE_MAP(PreSubclassed, CWnd)
ON_MESSAGE(FirstMessage, &PreSubclassed::OnFirst)
END_MESSAGE_MAP()

TEST(PreSubclassWindow, SeesTheAttachedWindow) {
  const PlainWindow plain;
  PreSubclassed window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  EXPECT_EQ(window.calls, 1);
  EXPECT_EQ(window.handleSeen, HWND{plain});
  EXPECT_EQ(window.objectSeen, &window);
}

TEST(PreSubclassWindow, ComesBeforeTheWindowPassesItsMessages) {
  const PlainWindow plain;
  PreSubclassed window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  EXPECT_EQ(window.handled, 0);
  EXPECT_EQ(plain.Received(FirstMessage).size(), 1U);
  window.SendMessage(FirstMessage);
  EXPECT_EQ(window.handled, 1);
  EXPECT_EQ(plain.Received(FirstMessage).size(), 1U);
}

TEST(PreSubclassWindow, IsNotCalledWhenSubclassingFails) {
  const PlainWindow plain;
  CWnd first;
  ASSERT_TRUE(first.SubclassWindow(plain));
  PreSubclassed window;
  EXPECT_FALSE(window.SubclassWindow(nullptr));
  EXPECT_FALSE(window.SubclassWindow(plain));
  EXPECT_EQ(window.calls, 0);
}

TEST(PreSubclassWindow, ThatThrowsLeavesTheWindowUnattached) {
  const PlainWindow plain;
  {
    PreSubclassed window;
    window.throws = true;
    EXPECT_THROW(window.SubclassWindow(plain), std::runtime_error);
    EXPECT_EQ(window.m_hWnd, nullptr);
  }
  EXPECT_EQ(CWnd::FromHandlePermanent(plain), nullptr);
  EXPECT_TRUE(IsWindow(plain));
  CWnd next;
  EXPECT_TRUE(next.SubclassWindow(plain));
}

// The end of a window.

TEST(DestroyWindow, DetachesTheObject) {
  const PlainWindow plain;
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  EXPECT_TRUE(window.DestroyWindow());
  EXPECT_FALSE(IsWindow(plain));
  EXPECT_EQ(window.m_hWnd, nullptr);
  EXPECT_EQ(CWnd::FromHandlePermanent(plain), nullptr);
}

TEST(DestroyWindow, BySomebodyElseDetachesTheObject) {
  const PlainWindow plain;
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  ASSERT_TRUE(::DestroyWindow(plain));
  EXPECT_EQ(window.m_hWnd, nullptr);
  EXPECT_EQ(CWnd::FromHandlePermanent(plain), nullptr);
}

TEST(DestroyWindow, OfTheOwnerDetachesTheObject) {
  const PlainWindow owner;
  const PlainWindow plain(HWND{owner});
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  ASSERT_TRUE(::DestroyWindow(owner));
  EXPECT_EQ(window.m_hWnd, nullptr);
}

TEST(DestroyWindow, WithoutAWindowFails) {
  CWnd window;
  EXPECT_FALSE(window.DestroyWindow());
}

TEST(DestroyWindow, LetsTheWindowsOwnProcedureSeeTheLastMessage) {
  const PlainWindow plain;
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  window.DestroyWindow();
  EXPECT_EQ(plain.Received(WM_DESTROY).size(), 1U);
  EXPECT_EQ(plain.Received(WM_NCDESTROY).size(), 1U);
}

TEST(WindowsDestructor, DestroysALivingWindow) {
  const PlainWindow plain;
  {
    CWnd window;
    ASSERT_TRUE(window.SubclassWindow(plain));
  }
  EXPECT_FALSE(IsWindow(plain));
  EXPECT_EQ(CWnd::FromHandlePermanent(plain), nullptr);
}

class Dying : public CWnd {
 public:
  HWND inDestroy = nullptr;
  CWnd* objectInDestroy = nullptr;
  HWND inLast = nullptr;
  bool throws = false;

 protected:
  DECLARE_MESSAGE_MAP()

 private:
  void OnDestroy() {
    inDestroy = m_hWnd;
    objectInDestroy = FromHandlePermanent(m_hWnd);
    CWnd::OnDestroy();
  }
  LRESULT OnLast(WPARAM, LPARAM) {
    inLast = m_hWnd;
    if (throws) throw 1;
    return Default();
  }
};

BEGIN_MESSAGE_MAP(Dying, CWnd)
ON_WM_DESTROY()
ON_MESSAGE(WM_NCDESTROY, &Dying::OnLast)
END_MESSAGE_MAP()

TEST(DyingWindow, IsAttachedUntilItsLastMessageIsDone) {
  const PlainWindow plain;
  Dying window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  window.DestroyWindow();
  EXPECT_EQ(window.inDestroy, HWND{plain});
  EXPECT_EQ(window.objectInDestroy, &window);
  EXPECT_EQ(window.inLast, HWND{plain});
  EXPECT_EQ(window.m_hWnd, nullptr);
}

TEST(DyingWindow, IsDetachedAlsoWhenTheHandlerOfItsLastMessageThrows) {
  const PlainWindow plain;
  Dying window;
  window.throws = true;
  ASSERT_TRUE(window.SubclassWindow(plain));
  window.DestroyWindow();
  EXPECT_EQ(window.inLast, HWND{plain});
  EXPECT_EQ(window.m_hWnd, nullptr);
  EXPECT_EQ(CWnd::FromHandlePermanent(plain), nullptr);
}

// The search in the message maps.

class Base : public CWnd {
 public:
  std::vector<std::string> calls;

 protected:
  DECLARE_MESSAGE_MAP()

 private:
  LRESULT OnFirst(WPARAM, LPARAM) {
    calls.emplace_back("Base::OnFirst");
    return 11;
  }
  LRESULT OnSecond(WPARAM, LPARAM) {
    calls.emplace_back("Base::OnSecond");
    return 12;
  }
};

BEGIN_MESSAGE_MAP(Base, CWnd)
ON_MESSAGE(FirstMessage, &Base::OnFirst)
ON_MESSAGE(SecondMessage, &Base::OnSecond)
END_MESSAGE_MAP()

class Middle : public Base {
 protected:
  DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(Middle, Base)
END_MESSAGE_MAP()

class Derived : public Middle {
 protected:
  DECLARE_MESSAGE_MAP()

 private:
  LRESULT OnSecond(WPARAM, LPARAM) {
    calls.emplace_back("Derived::OnSecond");
    return 22;
  }
  LRESULT OnThird(WPARAM, LPARAM) {
    calls.emplace_back("Derived::OnThird");
    return 23;
  }
  LRESULT OnThirdAgain(WPARAM, LPARAM) {
    calls.emplace_back("Derived::OnThirdAgain");
    return 24;
  }
};

BEGIN_MESSAGE_MAP(Derived, Middle)
ON_MESSAGE(SecondMessage, &Derived::OnSecond)
ON_MESSAGE(ThirdMessage, &Derived::OnThird)
ON_MESSAGE(ThirdMessage, &Derived::OnThirdAgain)
END_MESSAGE_MAP()

using Calls = std::vector<std::string>;

class MessageMap : public testing::Test {
 protected:
  MessageMap() { EXPECT_TRUE(window_.SubclassWindow(plain_)); }

  PlainWindow plain_;
  Derived window_;
};

TEST_F(MessageMap, OfTheMostDerivedClassComesFirst) {
  EXPECT_EQ(window_.SendMessage(SecondMessage), 22);
  EXPECT_EQ(window_.calls, Calls{"Derived::OnSecond"});
}

TEST_F(MessageMap, OfABaseAnswersWhatTheDerivedClassDoesNot) {
  EXPECT_EQ(window_.SendMessage(FirstMessage), 11);
  EXPECT_EQ(window_.calls, Calls{"Base::OnFirst"});
}

TEST_F(MessageMap, OfADerivedClassAnswersWhatNoBaseDoes) {
  EXPECT_EQ(window_.SendMessage(ThirdMessage), 23);
}

TEST_F(MessageMap, AnswersWithTheFirstOfTwoEntries) {
  window_.SendMessage(ThirdMessage);
  EXPECT_EQ(window_.calls, Calls{"Derived::OnThird"});
}

TEST_F(MessageMap, AnswersInPlaceOfTheWindowsOwnProcedure) {
  window_.SendMessage(FirstMessage);
  EXPECT_EQ(plain_.Received(FirstMessage), Messages{});
}

TEST_F(MessageMap, LeavesWhatNoClassAnswersToTheWindowsOwnProcedure) {
  plain_.answers[UnansweredMessage] = 0x1'2345'6789;
  EXPECT_EQ(window_.SendMessage(UnansweredMessage, 0x2'0000'0001, -3), 0x1'2345'6789);
  EXPECT_EQ(plain_.Received(UnansweredMessage), (Messages{{UnansweredMessage, 0x2'0000'0001, -3}}));
  EXPECT_EQ(window_.calls, Calls{});
}

TEST_F(MessageMap, OfABaseDoesNotKnowTheDerivedClasss) {
  PlainWindow plain;
  Base base;
  ASSERT_TRUE(base.SubclassWindow(plain));
  plain.answers[ThirdMessage] = 99;
  EXPECT_EQ(base.SendMessage(SecondMessage), 12);
  EXPECT_EQ(base.SendMessage(ThirdMessage), 99);
}

TEST_F(MessageMap, OfThePlainWindowIsEmpty) {
  PlainWindow plain;
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  plain.answers[FirstMessage] = 98;
  EXPECT_EQ(window.SendMessage(FirstMessage, 5, 6), 98);
  EXPECT_EQ(plain.Received(FirstMessage), (Messages{{FirstMessage, 5, 6}}));
}

TEST_F(MessageMap, IsPassedWhenAWindowProcAnswersItself) {
  class Own : public CWnd {
    LRESULT WindowProc(UINT message, WPARAM first, LPARAM second) override {
      return message == FirstMessage ? 77 : CWnd::WindowProc(message, first, second);
    }
  };
  const PlainWindow plain;
  Own window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  EXPECT_EQ(window.SendMessage(FirstMessage), 77);
}

TEST_F(MessageMap, LeavesWhatItDoesNotAnswerToAnOverriddenDefault) {
  class Own : public CWnd {
    LRESULT DefWindowProc(UINT message, WPARAM first, LPARAM second) override {
      return message == FirstMessage ? 78 : CWnd::DefWindowProc(message, first, second);
    }
  };
  const PlainWindow plain;
  Own window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  EXPECT_EQ(window.SendMessage(FirstMessage), 78);
}

// What each macro unpacks.

constexpr int CommandId = 40;
constexpr int ClickedId = 41;

class Handling : public CWnd {
 public:
  Calls calls;
  UINT keys = 0;
  CPoint point = {0, 0};
  UINT_PTR timer = 0;
  WPARAM first = 0;
  LPARAM second = 0;
  HDC context = nullptr;
  CWnd* control = nullptr;
  UINT kind = 99;
  LRESULT hitTest = 0;
  BOOL erased = FALSE;
  HCURSOR cursor = nullptr;
  HBRUSH brush = nullptr;

 protected:
  DECLARE_MESSAGE_MAP()

 private:
  HBRUSH OnCtlColor(CDC* dc, CWnd* which, UINT what) {
    calls.emplace_back("OnCtlColor");
    context = *dc;
    control = which;
    kind = what;
    return brush;
  }
  void OnDestroy() {
    calls.emplace_back("OnDestroy");
    CWnd::OnDestroy();
  }
  BOOL OnEraseBkgnd(CDC* dc) {
    calls.emplace_back("OnEraseBkgnd");
    context = *dc;
    return erased;
  }
  void OnLButtonDown(UINT pressed, CPoint place) {
    calls.emplace_back("OnLButtonDown");
    keys = pressed;
    point = place;
  }
  void OnMouseMove(UINT pressed, CPoint place) {
    calls.emplace_back("OnMouseMove");
    keys = pressed;
    point = place;
  }
  LRESULT OnNcHitTest(CPoint place) {
    calls.emplace_back("OnNcHitTest");
    point = place;
    return hitTest;
  }
  void OnPaint() { calls.emplace_back("OnPaint"); }
  HCURSOR OnQueryDragIcon() {
    calls.emplace_back("OnQueryDragIcon");
    return cursor;
  }
  void OnTimer(UINT_PTR which) {
    calls.emplace_back("OnTimer");
    timer = which;
  }
  LRESULT OnFirst(WPARAM one, LPARAM other) {
    calls.emplace_back("OnFirst");
    first = one;
    second = other;
    return 0x1'0000'0007;
  }
  void OnCommand() { calls.emplace_back("OnCommand"); }
  void OnClicked() { calls.emplace_back("OnClicked"); }
};

BEGIN_MESSAGE_MAP(Handling, CWnd)
ON_WM_CTLCOLOR()
ON_WM_DESTROY()
ON_WM_ERASEBKGND()
ON_WM_LBUTTONDOWN()
ON_WM_MOUSEMOVE()
ON_WM_NCHITTEST()
ON_WM_PAINT()
ON_WM_QUERYDRAGICON()
ON_WM_TIMER()
ON_MESSAGE(FirstMessage, &Handling::OnFirst)
ON_COMMAND(CommandId, &Handling::OnCommand)
ON_BN_CLICKED(ClickedId, &Handling::OnClicked)
END_MESSAGE_MAP()

class Handler : public testing::Test {
 protected:
  Handler() { EXPECT_TRUE(window_.SubclassWindow(plain_)); }

  /// Sends the message, which only the handler `name` must see.
  LRESULT Send(const char* name, UINT message, WPARAM first, LPARAM second) {
    window_.calls.clear();
    plain_.Forget();
    // What the window's own procedure would answer.
    plain_.answers[message] = -1;
    const LRESULT result = window_.SendMessage(message, first, second);
    EXPECT_EQ(window_.calls, Calls{name});
    EXPECT_EQ(plain_.Received(message), Messages{});
    plain_.answers.clear();
    return result;
  }

  PlainWindow plain_;
  Handling window_;
};

TEST_F(Handler, OfTheMouseGetsTheKeysAndThePoint) {
  EXPECT_EQ(Send("OnMouseMove", WM_MOUSEMOVE, MK_CONTROL | MK_SHIFT, MAKELPARAM(640, 480)), 0);
  EXPECT_EQ(window_.keys, UINT{MK_CONTROL | MK_SHIFT});
  EXPECT_EQ(window_.point, CPoint(640, 480));
}

TEST_F(Handler, OfTheMouseGetsAPointLeftOfAndAboveTheWindow) {
  Send("OnMouseMove", WM_MOUSEMOVE, 0, MAKELPARAM(-5, -7));
  EXPECT_EQ(window_.point, CPoint(-5, -7));
}

TEST_F(Handler, OfTheMouseGetsTheOutermostPoints) {
  Send("OnMouseMove", WM_MOUSEMOVE, 0, MAKELPARAM(-32768, 32767));
  EXPECT_EQ(window_.point, CPoint(-32768, 32767));
  Send("OnMouseMove", WM_MOUSEMOVE, 0, MAKELPARAM(32767, -32768));
  EXPECT_EQ(window_.point, CPoint(32767, -32768));
}

TEST_F(Handler, OfALeftClickGetsTheKeysAndThePoint) {
  EXPECT_EQ(Send("OnLButtonDown", WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(-1, 9)), 0);
  EXPECT_EQ(window_.keys, UINT{MK_LBUTTON});
  EXPECT_EQ(window_.point, CPoint(-1, 9));
}

TEST_F(Handler, OfAHitTestGetsThePointAndGivesTheResult) {
  window_.hitTest = HTCAPTION;
  EXPECT_EQ(Send("OnNcHitTest", WM_NCHITTEST, 0, MAKELPARAM(-1280, 20)), HTCAPTION);
  EXPECT_EQ(window_.point, CPoint(-1280, 20));
  window_.hitTest = HTTRANSPARENT;
  EXPECT_EQ(Send("OnNcHitTest", WM_NCHITTEST, 0, 0), HTTRANSPARENT);
}

TEST_F(Handler, OfATimerGetsItsNumber) {
  EXPECT_EQ(Send("OnTimer", WM_TIMER, 1026, 0), 0);
  EXPECT_EQ(window_.timer, 1026U);
}

TEST_F(Handler, OfATimerGetsANumberBeyond32Bits) {
  Send("OnTimer", WM_TIMER, 0x1'2345'6789, 0);
  EXPECT_EQ(window_.timer, 0x1'2345'6789U);
}

TEST_F(Handler, OfARealTimerIsCalled) {
  ASSERT_NE(SetTimer(plain_, 7, 10, nullptr), 0U) << GetLastError();
  const ULONGLONG start = GetTickCount64();
  while (window_.timer == 0 && GetTickCount64() - start < 5000) {
    DispatchWaitingMessages();
    Sleep(1);
  }
  EXPECT_EQ(window_.timer, 7U);
}

TEST_F(Handler, OfEachColorMessageGetsItsKind) {
  constexpr struct {
    UINT message;
    UINT kind;
  } Kinds[] = {{WM_CTLCOLORMSGBOX, CTLCOLOR_MSGBOX},   {WM_CTLCOLOREDIT, CTLCOLOR_EDIT},
               {WM_CTLCOLORLISTBOX, CTLCOLOR_LISTBOX}, {WM_CTLCOLORBTN, CTLCOLOR_BTN},
               {WM_CTLCOLORDLG, CTLCOLOR_DLG},         {WM_CTLCOLORSCROLLBAR, CTLCOLOR_SCROLLBAR},
               {WM_CTLCOLORSTATIC, CTLCOLOR_STATIC}};
  for (const auto& [message, kind] : Kinds) {
    Send("OnCtlColor", message, 0, 0);
    EXPECT_EQ(window_.kind, kind) << "message " << message;
  }
}

TEST_F(Handler, OfColorsDoesNotGetTheMessagesBesideThem) {
  for (const UINT message : {UINT{WM_CTLCOLORMSGBOX - 1}, UINT{WM_CTLCOLORSTATIC + 1}}) {
    plain_.answers[message] = 5;
    EXPECT_EQ(window_.SendMessage(message), 5) << "message " << message;
  }
  EXPECT_EQ(window_.calls, Calls{});
}

TEST_F(Handler, OfColorsGetsTheContextAndTheControlAndGivesTheBrush) {
  const HDC context = GetDC(plain_);
  const PlainWindow plainControl;
  CWnd control;
  ASSERT_TRUE(control.SubclassWindow(plainControl));
  window_.brush = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
  EXPECT_EQ(Send("OnCtlColor", WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(context),
                 reinterpret_cast<LPARAM>(control.m_hWnd)),
            reinterpret_cast<LRESULT>(window_.brush));
  EXPECT_EQ(window_.context, context);
  EXPECT_EQ(window_.control, &control);
  ReleaseDC(plain_, context);
}

TEST_F(Handler, OfColorsGetsNoObjectForAControlThatHasNone) {
  const PlainWindow control;
  window_.control = &window_;
  Send("OnCtlColor", WM_CTLCOLORBTN, 0, reinterpret_cast<LPARAM>(HWND{control}));
  EXPECT_EQ(window_.control, nullptr);
}

TEST_F(Handler, OfColorsLeavesTheContextToItsOwner) {
  const HDC context = CreateCompatibleDC(nullptr);
  Send("OnCtlColor", WM_CTLCOLORBTN, reinterpret_cast<WPARAM>(context), 0);
  EXPECT_EQ(GetObjectType(context), DWORD{OBJ_MEMDC});
  DeleteDC(context);
}

TEST_F(Handler, OfErasingGetsTheContextAndGivesTheResult) {
  const HDC context = CreateCompatibleDC(nullptr);
  window_.erased = FALSE;
  EXPECT_EQ(Send("OnEraseBkgnd", WM_ERASEBKGND, reinterpret_cast<WPARAM>(context), 0), FALSE);
  EXPECT_EQ(window_.context, context);
  window_.erased = TRUE;
  EXPECT_EQ(Send("OnEraseBkgnd", WM_ERASEBKGND, reinterpret_cast<WPARAM>(context), 0), TRUE);
  EXPECT_EQ(GetObjectType(context), DWORD{OBJ_MEMDC});
  DeleteDC(context);
}

TEST_F(Handler, OfTheDragIconGivesTheCursor) {
  window_.cursor = reinterpret_cast<HCURSOR>(0x1'0000'0123);
  EXPECT_EQ(Send("OnQueryDragIcon", WM_QUERYDRAGICON, 0, 0), 0x1'0000'0123);
}

TEST_F(Handler, OfPaintingIsCalled) {
  EXPECT_EQ(Send("OnPaint", WM_PAINT, 0, 0), 0);
}

TEST_F(Handler, OfDestructionIsCalled) {
  window_.DestroyWindow();
  EXPECT_EQ(window_.calls, Calls{"OnDestroy"});
}

TEST_F(Handler, OfAnyMessageGetsBothParametersAndGivesTheResult) {
  EXPECT_EQ(Send("OnFirst", FirstMessage, 0xFFFF'FFFF'0000'0001, -9), 0x1'0000'0007);
  EXPECT_EQ(window_.first, 0xFFFF'FFFF'0000'0001);
  EXPECT_EQ(window_.second, -9);
}

TEST_F(Handler, OfACommandIsFoundByItsId) {
  EXPECT_EQ(Send("OnCommand", WM_COMMAND, CommandId, 0), 0);
  EXPECT_EQ(Send("OnClicked", WM_COMMAND, ClickedId, 0), 0);
}

TEST_F(Handler, OfAClickIsCalledWhateverTheControlsHandle) {
  Send("OnClicked", WM_COMMAND, MAKEWPARAM(ClickedId, BN_CLICKED),
       reinterpret_cast<LPARAM>(HWND{plain_}));
}

TEST_F(Handler, OfACommandDoesNotGetAnotherId) {
  plain_.answers[WM_COMMAND] = 5;
  EXPECT_EQ(window_.SendMessage(WM_COMMAND, CommandId - 1), 5);
  EXPECT_EQ(window_.SendMessage(WM_COMMAND, 0), 5);
  EXPECT_EQ(window_.calls, Calls{});
}

TEST_F(Handler, OfACommandDoesNotGetAnotherNotification) {
  plain_.answers[WM_COMMAND] = 5;
  for (const int code : {BN_DOUBLECLICKED, BN_SETFOCUS, BN_KILLFOCUS, EN_CHANGE}) {
    EXPECT_EQ(window_.SendMessage(WM_COMMAND, MAKEWPARAM(CommandId, code)), 5) << code;
    EXPECT_EQ(window_.SendMessage(WM_COMMAND, MAKEWPARAM(ClickedId, code)), 5) << code;
  }
  EXPECT_EQ(window_.calls, Calls{});
}

TEST_F(Handler, OfAMessageIsFoundWhateverItsFirstParameterIs) {
  // Only a command has an id and a notification in it.
  Send("OnTimer", WM_TIMER, MAKEWPARAM(CommandId, EN_CHANGE), 0);
  Send("OnFirst", FirstMessage, MAKEWPARAM(0, 1), 0);
}

// The handlers that every window has.

class Inheriting : public CWnd {
 protected:
  DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(Inheriting, CWnd)
ON_WM_DESTROY()
ON_WM_MOUSEMOVE()
ON_WM_PAINT()
ON_WM_QUERYDRAGICON()
ON_WM_TIMER()
END_MESSAGE_MAP()

class InheritedHandler : public testing::Test {
 protected:
  InheritedHandler() { EXPECT_TRUE(window_.SubclassWindow(plain_)); }

  /// Sends the message and answers with the result; the window's own procedure must get it once.
  LRESULT Send(UINT message, WPARAM first = 0, LPARAM second = 0) {
    plain_.Forget();
    plain_.answers[message] = 0x1'0000'0123;
    const LRESULT result = window_.SendMessage(message, first, second);
    EXPECT_EQ(plain_.Received(message), (Messages{{message, first, second}}));
    plain_.answers.clear();
    return result;
  }

  PlainWindow plain_;
  Inheriting window_;
};

TEST_F(InheritedHandler, OfTheMousePassesTheMessageOn) {
  EXPECT_EQ(Send(WM_MOUSEMOVE, MK_SHIFT, MAKELPARAM(-5, 7)), 0);
}

TEST_F(InheritedHandler, OfPaintingPassesTheMessageOn) {
  EXPECT_EQ(Send(WM_PAINT), 0);
}

TEST_F(InheritedHandler, OfATimerPassesTheMessageOn) {
  EXPECT_EQ(Send(WM_TIMER, 0x1'2345'6789), 0);
}

TEST_F(InheritedHandler, OfTheDragIconPassesTheMessageOnAndTheAnswerBack) {
  EXPECT_EQ(Send(WM_QUERYDRAGICON), 0x1'0000'0123);
}

TEST_F(InheritedHandler, OfDestructionPassesTheMessageOn) {
  window_.DestroyWindow();
  EXPECT_EQ(plain_.Received(WM_DESTROY).size(), 1U);
}

// Default processing and exceptions.

class Nesting : public CWnd {
 public:
  std::function<void()> beforeDefault;
  std::vector<LRESULT> defaults;
  int calls = 0;

 protected:
  DECLARE_MESSAGE_MAP()

 private:
  LRESULT OnFirst(WPARAM, LPARAM) {
    ++calls;
    if (beforeDefault) beforeDefault();
    defaults.push_back(Default());
    return 1;
  }
  LRESULT OnSecond(WPARAM, LPARAM) {
    ++calls;
    defaults.push_back(Default());
    return 2;
  }
  LRESULT OnThird(WPARAM what, LPARAM) {
    ++calls;
    if (what == 0) throw std::runtime_error("OnThird");
    throw 3;
  }
};

BEGIN_MESSAGE_MAP(Nesting, CWnd)
ON_MESSAGE(FirstMessage, &Nesting::OnFirst)
ON_MESSAGE(SecondMessage, &Nesting::OnSecond)
ON_MESSAGE(ThirdMessage, &Nesting::OnThird)
END_MESSAGE_MAP()

class Default : public testing::Test {
 protected:
  Default() {
    EXPECT_TRUE(window_.SubclassWindow(plain_));
    plain_.answers = {{FirstMessage, 51}, {SecondMessage, 52}, {ThirdMessage, 53}};
  }

  PlainWindow plain_;
  Nesting window_;
};

TEST_F(Default, GivesTheMessageToTheWindowsOwnProcedure) {
  EXPECT_EQ(window_.SendMessage(FirstMessage, 3, 4), 1);
  EXPECT_EQ(window_.defaults, std::vector<LRESULT>{51});
  EXPECT_EQ(plain_.Received(FirstMessage), (Messages{{FirstMessage, 3, 4}}));
}

TEST_F(Default, GivesEachOfTwoNestedMessages) {
  window_.beforeDefault = [this] { window_.SendMessage(SecondMessage, 5, 6); };
  window_.SendMessage(FirstMessage, 3, 4);
  EXPECT_EQ(window_.defaults, (std::vector<LRESULT>{52, 51}));
  EXPECT_EQ(plain_.Received(SecondMessage), (Messages{{SecondMessage, 5, 6}}));
  EXPECT_EQ(plain_.Received(FirstMessage), (Messages{{FirstMessage, 3, 4}}));
}

TEST_F(Default, GivesTheOuterMessageAfterOneOfAnotherWindow) {
  PlainWindow otherPlain;
  Nesting other;
  ASSERT_TRUE(other.SubclassWindow(otherPlain));
  window_.beforeDefault = [&other] { other.SendMessage(SecondMessage, 5, 6); };
  window_.SendMessage(FirstMessage, 3, 4);
  EXPECT_EQ(plain_.Received(FirstMessage), (Messages{{FirstMessage, 3, 4}}));
  EXPECT_EQ(plain_.Received(SecondMessage), Messages{});
  EXPECT_EQ(otherPlain.Received(SecondMessage), (Messages{{SecondMessage, 5, 6}}));
  EXPECT_EQ(otherPlain.Received(FirstMessage), Messages{});
}

TEST_F(Default, GivesTheOuterMessageAfterOneThatNobodyAnswers) {
  window_.beforeDefault = [this] { window_.SendMessage(UnansweredMessage, 5, 6); };
  window_.SendMessage(FirstMessage, 3, 4);
  EXPECT_EQ(plain_.Received(FirstMessage), (Messages{{FirstMessage, 3, 4}}));
}

TEST_F(Default, GivesTheOuterMessageAfterOneWhoseHandlerThrew) {
  window_.beforeDefault = [this] { window_.SendMessage(ThirdMessage, 0, 6); };
  EXPECT_EQ(window_.SendMessage(FirstMessage, 3, 4), 1);
  EXPECT_EQ(window_.calls, 2);
  EXPECT_EQ(plain_.Received(FirstMessage), (Messages{{FirstMessage, 3, 4}}));
}

TEST_F(Default, OfTheSameMessageWithinItselfKeepsTheParametersApart) {
  bool nested = false;
  window_.beforeDefault = [this, &nested] {
    if (nested) return;
    nested = true;
    window_.SendMessage(FirstMessage, 5, 6);
  };
  window_.SendMessage(FirstMessage, 3, 4);
  EXPECT_EQ(plain_.Received(FirstMessage), (Messages{{FirstMessage, 5, 6}, {FirstMessage, 3, 4}}));
}

class ThrowingHandler : public Default {};

TEST_F(ThrowingHandler, AnswersItsMessageWithZero) {
  EXPECT_EQ(window_.SendMessage(ThirdMessage, 0), 0);
  EXPECT_EQ(window_.calls, 1);
  EXPECT_EQ(plain_.Received(ThirdMessage), Messages{});
}

TEST_F(ThrowingHandler, MayThrowWhatIsNoException) {
  EXPECT_EQ(window_.SendMessage(ThirdMessage, 1), 0);
  EXPECT_EQ(window_.calls, 1);
}

TEST_F(ThrowingHandler, LeavesTheWindowToItsNextMessage) {
  window_.SendMessage(ThirdMessage, 0);
  EXPECT_EQ(window_.SendMessage(FirstMessage), 1);
  EXPECT_EQ(window_.calls, 2);
  EXPECT_EQ(window_.m_hWnd, HWND{plain_});
}

TEST_F(ThrowingHandler, IsNoMatterWhenTheMessageCameFromTheQueue) {
  ASSERT_TRUE(PostMessageW(plain_, ThirdMessage, 0, 0)) << GetLastError();
  ASSERT_TRUE(PostMessageW(plain_, FirstMessage, 0, 0)) << GetLastError();
  DispatchWaitingMessages();
  EXPECT_EQ(window_.calls, 2);
}

// Points.

TEST(Point, EqualsOneWithBothItsCoordinates) {
  EXPECT_TRUE(CPoint(3, -4) == CPoint(3, -4));
  EXPECT_FALSE(CPoint(3, -4) == CPoint(3, 4));
  EXPECT_FALSE(CPoint(3, -4) == CPoint(-3, -4));
}

// Style, text and visibility.

class Attached : public testing::Test {
 protected:
  Attached() { EXPECT_TRUE(window_.SubclassWindow(plain_)); }

  DWORD Style() const { return static_cast<DWORD>(GetWindowLongW(plain_, GWL_STYLE)); }

  PlainWindow plain_;
  CWnd window_;
};

using ModifyStyle = Attached;

TEST_F(ModifyStyle, AddsAndKeepsTheRest) {
  const DWORD before = Style();
  ASSERT_EQ(before & 0x100, 0U);
  EXPECT_TRUE(window_.ModifyStyle(0, 0x100));
  EXPECT_EQ(Style(), before | 0x100);
}

TEST_F(ModifyStyle, RemovesAndKeepsTheRest) {
  window_.ModifyStyle(0, 0x300);
  const DWORD before = Style();
  EXPECT_TRUE(window_.ModifyStyle(0x100, 0));
  EXPECT_EQ(Style(), before & ~DWORD{0x100});
}

TEST_F(ModifyStyle, RemovesAndAddsAtOnce) {
  window_.ModifyStyle(0, 0x100);
  EXPECT_TRUE(window_.ModifyStyle(0x100, 0x200));
  EXPECT_EQ(Style() & 0x300, 0x200U);
}

TEST_F(ModifyStyle, AddsWhatIsInBoth) {
  EXPECT_TRUE(window_.ModifyStyle(0x100, 0x100));
  EXPECT_EQ(Style() & 0x100, 0x100U);
}

TEST_F(ModifyStyle, ThatChangesNothingAnswersFalse) {
  window_.ModifyStyle(0, 0x100);
  const DWORD before = Style();
  plain_.Forget();
  EXPECT_FALSE(window_.ModifyStyle(0, 0x100));
  EXPECT_FALSE(window_.ModifyStyle(0x200, 0));
  EXPECT_FALSE(window_.ModifyStyle(0x100, 0x100));
  EXPECT_FALSE(window_.ModifyStyle(0, 0));
  EXPECT_EQ(Style(), before);
  EXPECT_TRUE(plain_.Received(WM_STYLECHANGED).empty());
}

TEST_F(ModifyStyle, WorksOnAWindowWithoutAnObject) {
  const PlainWindow other;
  EXPECT_TRUE(CWnd::ModifyStyle(other, 0, 0x100));
  EXPECT_EQ(GetWindowLongW(other, GWL_STYLE) & 0x100, 0x100);
  EXPECT_EQ(Style() & 0x100, 0U);
}

TEST_F(ModifyStyle, RepaintsNothing) {
  window_.ShowWindow(SW_SHOWNOACTIVATE);
  ValidateRect(plain_, nullptr);
  plain_.Forget();
  EXPECT_TRUE(window_.ModifyStyle(0, 0x100));
  EXPECT_FALSE(GetUpdateRect(plain_, nullptr, FALSE));
  EXPECT_TRUE(plain_.Received(WM_WINDOWPOSCHANGING).empty());
}

using GetWindowText = Attached;

TEST_F(GetWindowText, OfAnEmptyTextIsEmpty) {
  EXPECT_EQ(window_.GetWindowText(), L"");
}

TEST_F(GetWindowText, IsTheText) {
  SetWindowTextW(plain_, L"Privacy Policy");
  EXPECT_EQ(window_.GetWindowText(), L"Privacy Policy");
}

TEST_F(GetWindowText, OfOneCharacterIsThatCharacter) {
  SetWindowTextW(plain_, L"x");
  EXPECT_EQ(window_.GetWindowText(), L"x");
}

TEST_F(GetWindowText, IsNotCutWhenItIsLong) {
  const std::wstring text = std::wstring(100'000, L'a') + L"b";
  SetWindowTextW(plain_, text.c_str());
  EXPECT_EQ(window_.GetWindowText().size(), text.size());
  EXPECT_TRUE(window_.GetWindowText() == text);
}

TEST_F(GetWindowText, KeepsCharactersOutsideTheCodePage) {
  SetWindowTextW(plain_, L"\u00E4\u0416\u4E2D\U0001F600");
  EXPECT_EQ(window_.GetWindowText(), L"\u00E4\u0416\u4E2D\U0001F600");
}

TEST_F(GetWindowText, IsNoLongerThanTheTextWhenTheLengthIsOnlyAnUpperBound) {
  SetWindowTextW(plain_, L"abc");
  plain_.answers[WM_GETTEXTLENGTH] = 10;
  EXPECT_EQ(window_.GetWindowText(), L"abc");
}

TEST_F(GetWindowText, WithoutAWindowIsEmpty) {
  const CWnd none;
  EXPECT_EQ(none.GetWindowText(), L"");
}

TEST_F(Attached, WindowIsShownAndHidden) {
  EXPECT_FALSE(window_.IsWindowVisible());
  EXPECT_FALSE(window_.ShowWindow(SW_SHOWNOACTIVATE));
  EXPECT_TRUE(window_.IsWindowVisible());
  EXPECT_TRUE(IsWindowVisible(plain_));
  EXPECT_TRUE(window_.ShowWindow(SW_HIDE));
  EXPECT_FALSE(window_.IsWindowVisible());
}

TEST_F(Attached, WindowKnowsThatItIsMinimised) {
  EXPECT_FALSE(window_.IsIconic());
  window_.ShowWindow(SW_SHOWMINNOACTIVE);
  EXPECT_TRUE(window_.IsIconic());
}

// CenterWindow.

class CenterWindow : public testing::Test {
 protected:
  CenterWindow() { EXPECT_TRUE(SystemParametersInfoW(SPI_GETWORKAREA, 0, &area_, 0)); }

  /// Centers a window of this size that stands at (3, 4), and answers with its new place.
  static RECT Center(HWND owner, LONG width, LONG height) {
    const PlainWindow plain(owner, {3, 4, 3 + width, 4 + height});
    CWnd window;
    EXPECT_TRUE(window.SubclassWindow(plain));
    window.CenterWindow();
    return plain.Place();
  }

  static void Show(const PlainWindow& window) { ShowWindow(window, SW_SHOWNOACTIVATE); }

  LONG Width() const { return area_.right - area_.left; }
  LONG Height() const { return area_.bottom - area_.top; }
  /// The place of a window of this size in the middle of the work area.
  RECT Middle(LONG width, LONG height) const {
    const LONG left = area_.left + (Width() - width) / 2;
    const LONG top = area_.top + (Height() - height) / 2;
    return {left, top, left + width, top + height};
  }

  RECT area_ = {};
};

TEST_F(CenterWindow, WithoutAnOwnerIsOnTheScreen) {
  EXPECT_EQ(Center(nullptr, 200, 100), Middle(200, 100));
}

TEST_F(CenterWindow, IsOnAVisibleOwner) {
  const PlainWindow owner(nullptr, {100, 50, 500, 350});
  Show(owner);
  EXPECT_EQ(Center(owner, 200, 100), (RECT{200, 150, 400, 250}));
}

TEST_F(CenterWindow, IsOnASmallerOwnerToo) {
  const PlainWindow owner(nullptr, {300, 250, 340, 270});
  Show(owner);
  EXPECT_EQ(Center(owner, 200, 100), (RECT{220, 210, 420, 310}));
}

TEST_F(CenterWindow, WithAHiddenOwnerIsOnTheScreen) {
  const PlainWindow owner(nullptr, {100, 50, 500, 350});
  EXPECT_EQ(Center(owner, 200, 100), Middle(200, 100));
}

TEST_F(CenterWindow, WithAMinimisedOwnerIsOnTheScreen) {
  const PlainWindow owner(nullptr, {100, 50, 500, 350});
  ShowWindow(owner, SW_SHOWMINNOACTIVE);
  ASSERT_TRUE(IsIconic(owner));
  ASSERT_TRUE(IsWindowVisible(owner));
  EXPECT_EQ(Center(owner, 200, 100), Middle(200, 100));
}

TEST_F(CenterWindow, StaysOnTheScreenWhenTheOwnerStandsInTheTopLeftCorner) {
  const PlainWindow owner(nullptr, {area_.left, area_.top, area_.left + 40, area_.top + 20});
  Show(owner);
  EXPECT_EQ(Center(owner, 200, 100),
            (RECT{area_.left, area_.top, area_.left + 200, area_.top + 100}));
}

TEST_F(CenterWindow, StaysOnTheScreenWhenTheOwnerStandsInTheBottomRightCorner) {
  const PlainWindow owner(nullptr,
                          {area_.right - 40, area_.bottom - 20, area_.right, area_.bottom});
  Show(owner);
  EXPECT_EQ(Center(owner, 200, 100),
            (RECT{area_.right - 200, area_.bottom - 100, area_.right, area_.bottom}));
}

TEST_F(CenterWindow, ComesBackWhenTheOwnerStandsOutside) {
  const PlainWindow owner(nullptr, {-500, -400, -300, -200});
  Show(owner);
  EXPECT_EQ(Center(owner, 200, 100),
            (RECT{area_.left, area_.top, area_.left + 200, area_.top + 100}));
}

TEST_F(CenterWindow, OfOneThatIsLargerThanTheScreenKeepsItsTopLeftCornerInSight) {
  const LONG width = Width() + 101;
  const LONG height = Height() + 51;
  EXPECT_EQ(Center(nullptr, width, height),
            (RECT{area_.left, area_.top, area_.left + width, area_.top + height}));
}

TEST_F(CenterWindow, OfOneThatIsAsLargeAsTheScreenFillsIt) {
  EXPECT_EQ(Center(nullptr, Width(), Height()), area_);
}

TEST_F(CenterWindow, DoesNotShowTheWindow) {
  const PlainWindow plain;
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  window.CenterWindow();
  EXPECT_FALSE(window.IsWindowVisible());
}

TEST_F(CenterWindow, LeavesTheOrderAndTheActiveWindowAsTheyAre) {
  const PlainWindow plain;
  Show(plain);
  const PlainWindow above;
  ShowWindow(above, SW_SHOW);
  SetActiveWindow(above);
  ASSERT_EQ(GetActiveWindow(), HWND{above});
  CWnd window;
  ASSERT_TRUE(window.SubclassWindow(plain));
  window.CenterWindow();
  EXPECT_EQ(GetActiveWindow(), HWND{above});
  EXPECT_EQ(GetWindow(above, GW_HWNDNEXT), HWND{plain});
}

}  // namespace
