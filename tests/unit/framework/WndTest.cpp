#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
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

namespace {

using Messages = std::vector<PlainWindow::Message>;

constexpr UINT FirstMessage = WM_APP + 1;
constexpr UINT SecondMessage = WM_APP + 2;
constexpr UINT ThirdMessage = WM_APP + 3;
constexpr UINT UnhandledMessage = WM_APP + 4;

// Subclassing.

TEST(SubclassWindow, AttachesEachObjectToItsWindow) {
  const Attached<> first;
  const Attached<> second;
  const PlainWindow unattached;
  EXPECT_EQ(first.window.m_hWnd, HWND{first.plain});
  EXPECT_EQ(CWnd::FromHandlePermanent(first.plain), &first.window);
  EXPECT_EQ(CWnd::FromHandlePermanent(second.plain), &second.window);
  EXPECT_EQ(CWnd::FromHandlePermanent(unattached), nullptr);
}

TEST(SubclassWindow, FailsWithoutALivingWindow) {
  const PlainWindow destroyed;
  DestroyWindow(destroyed);
  for (const HWND none : {HWND{nullptr}, HWND{destroyed}}) {
    CWnd window;
    EXPECT_FALSE(window.SubclassWindow(none));
    EXPECT_EQ(window.m_hWnd, nullptr);
    EXPECT_EQ(CWnd::FromHandlePermanent(none), nullptr);
  }
}

TEST(SubclassWindow, FailsForAnAttachedWindowAndLeavesItToItsObject) {
  const Attached<> first;
  {
    CWnd second;
    EXPECT_FALSE(second.SubclassWindow(first.plain));
    EXPECT_EQ(second.m_hWnd, nullptr);
  }
  EXPECT_TRUE(IsWindow(first.plain));
  EXPECT_EQ(CWnd::FromHandlePermanent(first.plain), &first.window);
}

TEST(SubclassWindow, FailsForAnAttachedObjectWhichKeepsItsWindow) {
  Attached<> first;
  const PlainWindow other;
  EXPECT_FALSE(first.window.SubclassWindow(first.plain));
  EXPECT_FALSE(first.window.SubclassWindow(other));
  EXPECT_EQ(first.window.m_hWnd, HWND{first.plain});
  EXPECT_EQ(CWnd::FromHandlePermanent(other), nullptr);
}

TEST(SubclassWindow, WorksAgainAfterTheWindowsDestruction) {
  Attached<> first;
  DestroyWindow(first.plain);
  const PlainWindow next;
  EXPECT_TRUE(first.window.SubclassWindow(next));
  EXPECT_EQ(first.window.m_hWnd, HWND{next});
  EXPECT_EQ(CWnd::FromHandlePermanent(next), &first.window);
}

TEST(PreSubclassWindow, SeesTheAttachedWindowBeforeItPassesItsMessages) {
  const PlainWindow plain;
  ScriptedWindow<> window;
  int handled = 0;
  window.handlers[FirstMessage] = [&](WPARAM, LPARAM) { return ++handled; };
  int calls = 0;
  window.onPreSubclass = [&] {
    ++calls;
    EXPECT_EQ(window.m_hWnd, HWND{plain});
    EXPECT_EQ(CWnd::FromHandlePermanent(plain), &window);
    window.SendMessage(FirstMessage);
  };
  ASSERT_TRUE(window.SubclassWindow(plain));
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(handled, 0);
  EXPECT_EQ(plain.GetReceived(FirstMessage).size(), 1U);
  window.SendMessage(FirstMessage);
  EXPECT_EQ(handled, 1);
  EXPECT_EQ(plain.GetReceived(FirstMessage).size(), 1U);
}

TEST(PreSubclassWindow, IsNotCalledWhenSubclassingFails) {
  const Attached<> first;
  ScriptedWindow<> window;
  window.onPreSubclass = [] { ADD_FAILURE() << "called"; };
  EXPECT_FALSE(window.SubclassWindow(nullptr));
  EXPECT_FALSE(window.SubclassWindow(first.plain));
}

TEST(PreSubclassWindow, ThatThrowsLeavesTheWindowUnattached) {
  const PlainWindow plain;
  {
    ScriptedWindow<> window;
    window.onPreSubclass = [] { throw std::runtime_error("thrown by a test"); };
    EXPECT_THROW(window.SubclassWindow(plain), std::runtime_error);
    EXPECT_EQ(window.m_hWnd, nullptr);
  }
  EXPECT_EQ(CWnd::FromHandlePermanent(plain), nullptr);
  EXPECT_TRUE(IsWindow(plain));
  CWnd next;
  EXPECT_TRUE(next.SubclassWindow(plain));
}

// The end of a window.

TEST(DestroyWindow, DetachesTheObjectAfterTheWindowsLastMessage) {
  Attached<> attached;
  EXPECT_TRUE(attached.window.DestroyWindow());
  EXPECT_FALSE(IsWindow(attached.plain));
  EXPECT_EQ(attached.window.m_hWnd, nullptr);
  EXPECT_EQ(CWnd::FromHandlePermanent(attached.plain), nullptr);
  EXPECT_EQ(attached.plain.GetReceived(WM_DESTROY).size(), 1U);
  EXPECT_EQ(attached.plain.GetReceived(WM_NCDESTROY).size(), 1U);
  EXPECT_FALSE(attached.window.DestroyWindow()) << "there is no window any more";
}

TEST(DestroyWindow, FromOutsideDetachesTheObject) {
  const PlainWindow owner;
  for (const bool withOwner : {false, true}) {
    const Attached<> attached(owner);
    ASSERT_TRUE(::DestroyWindow(withOwner ? HWND{owner} : HWND{attached.plain}));
    EXPECT_EQ(attached.window.m_hWnd, nullptr);
    EXPECT_EQ(CWnd::FromHandlePermanent(attached.plain), nullptr);
  }
}

TEST(WindowDestructor, DestroysALivingWindow) {
  const PlainWindow plain;
  {
    CWnd window;
    ASSERT_TRUE(window.SubclassWindow(plain));
  }
  EXPECT_FALSE(IsWindow(plain));
  EXPECT_EQ(CWnd::FromHandlePermanent(plain), nullptr);
}

TEST(DyingWindow, IsAttachedUntilItsLastMessageAlsoWhenThatThrows) {
  for (const bool throws : {false, true}) {
    Attached<ScriptedWindow<>> attached;
    std::vector<CWnd*> found;
    attached.window.handlers[WM_DESTROY] = [&](WPARAM, LPARAM) {
      found.push_back(CWnd::FromHandlePermanent(attached.plain));
      return attached.window.Default();
    };
    attached.window.handlers[WM_NCDESTROY] = [&](WPARAM, LPARAM) {
      found.push_back(CWnd::FromHandlePermanent(attached.plain));
      if (throws) throw 1;
      return attached.window.Default();
    };
    attached.window.DestroyWindow();
    EXPECT_EQ(found, (std::vector<CWnd*>{&attached.window, &attached.window}));
    EXPECT_EQ(attached.window.m_hWnd, nullptr);
    EXPECT_EQ(CWnd::FromHandlePermanent(attached.plain), nullptr);
  }
}

// The search in the message maps.

class Base : public CWnd {
 protected:
  DECLARE_MESSAGE_MAP()

 private:
  LRESULT OnFirst(WPARAM, LPARAM) { return 11; }
  LRESULT OnSecond(WPARAM, LPARAM) { return 12; }
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
  LRESULT OnSecond(WPARAM, LPARAM) { return 22; }
  LRESULT OnThird(WPARAM, LPARAM) { return 23; }
  LRESULT OnThirdAgain(WPARAM, LPARAM) { return 24; }
};

BEGIN_MESSAGE_MAP(Derived, Middle)
ON_MESSAGE(SecondMessage, &Derived::OnSecond)
ON_MESSAGE(ThirdMessage, &Derived::OnThird)
ON_MESSAGE(ThirdMessage, &Derived::OnThirdAgain)
END_MESSAGE_MAP()

TEST(MessageMap, IsSearchedFromTheDerivedClassToItsBases) {
  Attached<Derived> derived;
  EXPECT_EQ(derived.window.SendMessage(SecondMessage), 22);
  EXPECT_EQ(derived.window.SendMessage(FirstMessage), 11);
  EXPECT_EQ(derived.window.SendMessage(ThirdMessage), 23) << "the first of two entries";
  for (const UINT message : {FirstMessage, SecondMessage, ThirdMessage}) {
    EXPECT_EQ(derived.plain.GetReceived(message), Messages{}) << message;
  }
}

TEST(MessageMap, OfABaseDoesNotHoldTheDerivedClassesMessages) {
  Attached<Base> base;
  base.plain.results[ThirdMessage] = 99;
  EXPECT_EQ(base.window.SendMessage(SecondMessage), 12);
  EXPECT_EQ(base.window.SendMessage(ThirdMessage), 99);
}

/// Both parameters reach the window's own procedure, whose result comes back.
void ExpectUnhandled(CWnd& window, PlainWindow& plain) {
  plain.results[UnhandledMessage] = 0x1'2345'6789;
  EXPECT_EQ(window.SendMessage(UnhandledMessage, 0x2'0000'0001, -3), 0x1'2345'6789);
  EXPECT_EQ(plain.GetReceived(UnhandledMessage), (Messages{{UnhandledMessage, 0x2'0000'0001, -3}}));
}

TEST(MessageMap, LeavesOtherMessagesToTheWindowsOwnProcedure) {
  Attached<Derived> derived;
  ExpectUnhandled(derived.window, derived.plain);
  Attached<> withoutHandlers;
  ExpectUnhandled(withoutHandlers.window, withoutHandlers.plain);
}

TEST(MessageMap, ComesAfterWindowProcAndBeforeDefWindowProc) {
  class Overriding : public Base {
    LRESULT WindowProc(UINT message, WPARAM first, LPARAM second) override {
      return message == FirstMessage ? 77 : Base::WindowProc(message, first, second);
    }
    LRESULT DefWindowProc(UINT message, WPARAM first, LPARAM second) override {
      return message == WM_NCDESTROY ? Base::DefWindowProc(message, first, second) : 78;
    }
  };
  Attached<Overriding> attached;
  EXPECT_EQ(attached.window.SendMessage(FirstMessage), 77);
  EXPECT_EQ(attached.window.SendMessage(SecondMessage), 12);
  EXPECT_EQ(attached.window.SendMessage(UnhandledMessage), 78);
}

// What each macro of the message map passes to its handler.

constexpr int CommandId = 40;
constexpr int ClickedId = 41;

/// Records its calls with their arguments.
class Handling : public CWnd {
 public:
  std::string call;
  /// The control of the last color message.
  CWnd* control = nullptr;

 protected:
  DECLARE_MESSAGE_MAP()

 private:
  void Record(const char* handler, std::initializer_list<long long> arguments = {}) {
    call = handler;
    for (const long long argument : arguments) call += ' ' + std::to_string(argument);
  }
  HBRUSH OnCtlColor(CDC* dc, CWnd* which, UINT kind) {
    control = which;
    Record("OnCtlColor", {reinterpret_cast<LONG_PTR>(dc->m_hDC), kind});
    return reinterpret_cast<HBRUSH>(0x1'0000'0456);
  }
  void OnDestroy() {
    Record("OnDestroy");
    CWnd::OnDestroy();
  }
  /// Returns FALSE for the context 0.
  BOOL OnEraseBkgnd(CDC* dc) {
    Record("OnEraseBkgnd", {reinterpret_cast<LONG_PTR>(dc->m_hDC)});
    return dc->m_hDC != nullptr;
  }
  void OnLButtonDown(UINT keys, CPoint point) { Record("OnLButtonDown", {keys, point.x, point.y}); }
  void OnMouseMove(UINT keys, CPoint point) { Record("OnMouseMove", {keys, point.x, point.y}); }
  LRESULT OnNcHitTest(CPoint point) {
    Record("OnNcHitTest", {point.x, point.y});
    return HTTRANSPARENT;
  }
  void OnPaint() { Record("OnPaint"); }
  HCURSOR OnQueryDragIcon() {
    Record("OnQueryDragIcon");
    return reinterpret_cast<HCURSOR>(0x1'0000'0123);
  }
  void OnTimer(UINT_PTR timer) { Record("OnTimer", {static_cast<LONG_PTR>(timer)}); }
  LRESULT OnFirst(WPARAM first, LPARAM second) {
    Record("OnFirst", {static_cast<LONG_PTR>(first), second});
    return 0x1'0000'0007;
  }
  void OnCommand() { Record("OnCommand"); }
  void OnClicked() { Record("OnClicked"); }
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

TEST(Handler, GetsTheUnpackedParametersAndGivesTheResult) {
  constexpr LRESULT Brush = 0x1'0000'0456;
  const struct {
    UINT message;
    WPARAM first;
    LPARAM second;
    const char* call;
    LRESULT result;
  } Cases[] = {
      {WM_MOUSEMOVE, MK_CONTROL | MK_SHIFT, MAKELPARAM(640, 480), "OnMouseMove 12 640 480", 0},
      // Points are signed.
      {WM_MOUSEMOVE, 0, MAKELPARAM(-32768, 32767), "OnMouseMove 0 -32768 32767", 0},
      {WM_MOUSEMOVE, 0, MAKELPARAM(32767, -32768), "OnMouseMove 0 32767 -32768", 0},
      {WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(-1, 9), "OnLButtonDown 1 -1 9", 0},
      {WM_NCHITTEST, 0, MAKELPARAM(-1280, 20), "OnNcHitTest -1280 20", HTTRANSPARENT},
      {WM_TIMER, 0x1'0000'0001, 0, "OnTimer 4294967297", 0},
      {WM_CTLCOLORMSGBOX, 17, 0, "OnCtlColor 17 0", Brush},
      {WM_CTLCOLOREDIT, 17, 0, "OnCtlColor 17 1", Brush},
      {WM_CTLCOLORLISTBOX, 17, 0, "OnCtlColor 17 2", Brush},
      {WM_CTLCOLORBTN, 17, 0, "OnCtlColor 17 3", Brush},
      {WM_CTLCOLORDLG, 17, 0, "OnCtlColor 17 4", Brush},
      {WM_CTLCOLORSCROLLBAR, 17, 0, "OnCtlColor 17 5", Brush},
      {WM_CTLCOLORSTATIC, 17, 0, "OnCtlColor 17 6", Brush},
      {WM_ERASEBKGND, 17, 0, "OnEraseBkgnd 17", TRUE},
      {WM_ERASEBKGND, 0, 0, "OnEraseBkgnd 0", FALSE},
      {WM_QUERYDRAGICON, 0, 0, "OnQueryDragIcon", 0x1'0000'0123},
      {WM_PAINT, 0, 0, "OnPaint", 0},
      {FirstMessage, 0x7FFF'FFFF'0000'0001, -9, "OnFirst 9223372032559808513 -9", 0x1'0000'0007},
      {WM_COMMAND, CommandId, 0, "OnCommand", 0},
      {WM_COMMAND, MAKEWPARAM(ClickedId, BN_CLICKED), 0x1234, "OnClicked", 0},
      // Only a command has an identifier and a notification in its first parameter.
      {WM_TIMER, MAKEWPARAM(CommandId, 1), 0, "OnTimer 65576", 0},
      {FirstMessage, MAKEWPARAM(0, 1), 0, "OnFirst 65536 0", 0x1'0000'0007},
  };
  Attached<Handling> attached;
  for (const auto& example : Cases) {
    attached.plain.Forget();
    EXPECT_EQ(attached.window.SendMessage(example.message, example.first, example.second),
              example.result)
        << example.call;
    EXPECT_EQ(attached.window.call, example.call);
    EXPECT_EQ(attached.plain.GetReceived(example.message), Messages{}) << example.call;
  }
  attached.window.DestroyWindow();
  EXPECT_EQ(attached.window.call, "OnDestroy");
}

TEST(Handler, IsNotCalledForNeighboringMessagesIdentifiersAndNotifications) {
  std::vector<std::pair<UINT, WPARAM>> others = {{WM_CTLCOLORMSGBOX - 1, 0},
                                                 {WM_CTLCOLORSTATIC + 1, 0},
                                                 {WM_COMMAND, CommandId - 1},
                                                 {WM_COMMAND, 0}};
  for (const int code : {BN_DOUBLECLICKED, BN_SETFOCUS, BN_KILLFOCUS, EN_CHANGE}) {
    others.emplace_back(WM_COMMAND, MAKEWPARAM(CommandId, code));
    others.emplace_back(WM_COMMAND, MAKEWPARAM(ClickedId, code));
  }
  Attached<Handling> attached;
  for (const auto& [message, first] : others) {
    attached.plain.results[message] = 5;
    EXPECT_EQ(attached.window.SendMessage(message, first), 5) << message << ' ' << first;
  }
  EXPECT_EQ(attached.window.call, "");
}

TEST(Handler, OfColorsGetsTheControlsObjectIfThereIsOne) {
  Attached<Handling> attached;
  const Attached<> control;
  const PlainWindow withoutObject;
  attached.window.SendMessage(WM_CTLCOLORSTATIC, 0,
                              reinterpret_cast<LPARAM>(control.window.m_hWnd));
  EXPECT_EQ(attached.window.control, &control.window);
  attached.window.SendMessage(WM_CTLCOLORBTN, 0, reinterpret_cast<LPARAM>(HWND{withoutObject}));
  EXPECT_EQ(attached.window.control, nullptr);
}

TEST(Handler, LeavesTheContextToItsOwner) {
  Attached<Handling> attached;
  const HDC context = CreateCompatibleDC(nullptr);
  attached.window.SendMessage(WM_CTLCOLORBTN, reinterpret_cast<WPARAM>(context));
  attached.window.SendMessage(WM_ERASEBKGND, reinterpret_cast<WPARAM>(context));
  EXPECT_EQ(GetObjectType(context), DWORD{OBJ_MEMDC});
  DeleteDC(context);
}

TEST(Handler, OfARealTimerIsCalled) {
  Attached<Handling> attached;
  ASSERT_NE(SetTimer(attached.plain, 7, 10, nullptr), 0U) << GetLastError();
  EXPECT_TRUE(DispatchUntil([&] { return attached.window.call == "OnTimer 7"; }));
}

// The handlers that every window inherits.

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

TEST(InheritedHandler, PassesTheMessageToTheWindowsOwnProcedure) {
  const std::pair<PlainWindow::Message, LRESULT> Cases[] = {
      {{WM_MOUSEMOVE, MK_SHIFT, MAKELPARAM(-5, 7)}, 0},
      {{WM_PAINT, 0, 0}, 0},
      {{WM_TIMER, 0x1'2345'6789, 0}, 0},
      // The only one whose result comes back.
      {{WM_QUERYDRAGICON, 0, 0}, 0x1'0000'0123}};
  Attached<Inheriting> attached;
  for (const auto& [sent, result] : Cases) {
    attached.plain.results[sent.message] = 0x1'0000'0123;
    EXPECT_EQ(attached.window.SendMessage(sent.message, sent.first, sent.second), result);
    EXPECT_EQ(attached.plain.GetReceived(sent.message), Messages{sent});
  }
  attached.window.DestroyWindow();
  EXPECT_EQ(attached.plain.GetReceived(WM_DESTROY).size(), 1U);
}

// Default processing and exceptions.

/// Handles three messages: two by `Default`, the third by an exception.
class Nesting : public ScriptedWindow<> {
 public:
  Nesting() {
    handlers[FirstMessage] = [this](WPARAM, LPARAM) -> LRESULT {
      ++calls;
      if (const auto nested = std::exchange(beforeDefault, nullptr)) nested();
      defaults.push_back(Default());
      return 1;
    };
    handlers[SecondMessage] = [this](WPARAM, LPARAM) -> LRESULT {
      ++calls;
      defaults.push_back(Default());
      return 2;
    };
    handlers[ThirdMessage] = [this](WPARAM isException, LPARAM) -> LRESULT {
      ++calls;
      if (isException) throw std::runtime_error("thrown by a test");
      throw 3;
    };
  }

  std::function<void()> beforeDefault;
  std::vector<LRESULT> defaults;
  int calls = 0;
};

class NestedMessage : public testing::Test, protected Attached<Nesting> {
 protected:
  NestedMessage() { plain.results = {{FirstMessage, 51}, {SecondMessage, 52}, {ThirdMessage, 53}}; }

  /// Sends the outer message, whose handler calls `nested` and then `Default`.
  void SendWith(std::function<void()> nested) {
    window.beforeDefault = std::move(nested);
    EXPECT_EQ(window.SendMessage(FirstMessage, 3, 4), 1);
  }
};

TEST_F(NestedMessage, AndTheOuterOneEachReachDefaultProcessing) {
  SendWith([this] { window.SendMessage(SecondMessage, 5, 6); });
  EXPECT_EQ(window.defaults, (std::vector<LRESULT>{52, 51}));
  EXPECT_EQ(plain.GetReceived(SecondMessage), (Messages{{SecondMessage, 5, 6}}));
  EXPECT_EQ(plain.GetReceived(FirstMessage), (Messages{{FirstMessage, 3, 4}}));
}

TEST_F(NestedMessage, OfTheSameKindHasParametersOfItsOwn) {
  SendWith([this] { window.SendMessage(FirstMessage, 5, 6); });
  EXPECT_EQ(plain.GetReceived(FirstMessage),
            (Messages{{FirstMessage, 5, 6}, {FirstMessage, 3, 4}}));
}

TEST_F(NestedMessage, ToAnotherWindowLeavesTheOuterOne) {
  Attached<Nesting> other;
  SendWith([&other] { other.window.SendMessage(SecondMessage, 5, 6); });
  EXPECT_EQ(plain.GetReceived(FirstMessage), (Messages{{FirstMessage, 3, 4}}));
  EXPECT_EQ(plain.GetReceived(SecondMessage), Messages{});
  EXPECT_EQ(other.plain.GetReceived(SecondMessage), (Messages{{SecondMessage, 5, 6}}));
  EXPECT_EQ(other.plain.GetReceived(FirstMessage), Messages{});
}

TEST_F(NestedMessage, WithoutAHandlerOrWithOneThatThrowsLeavesTheOuterOne) {
  for (const UINT message : {UnhandledMessage, ThirdMessage}) {
    plain.Forget();
    SendWith([this, message] { window.SendMessage(message, 5, 6); });
    EXPECT_EQ(plain.GetReceived(FirstMessage), (Messages{{FirstMessage, 3, 4}})) << message;
  }
  EXPECT_EQ(window.calls, 3);
}

TEST_F(NestedMessage, WhoseHandlerThrowsGivesZeroAndLeavesTheWindowAsItIs) {
  for (const WPARAM isException : {WPARAM{0}, WPARAM{1}}) {
    EXPECT_EQ(window.SendMessage(ThirdMessage, isException), 0);
  }
  ASSERT_TRUE(PostMessageW(plain, ThirdMessage, 0, 0)) << GetLastError();
  DispatchWaitingMessages();
  EXPECT_EQ(window.calls, 3);
  EXPECT_EQ(plain.GetReceived(ThirdMessage), Messages{});
  EXPECT_EQ(window.SendMessage(FirstMessage), 1);
  EXPECT_EQ(window.m_hWnd, HWND{plain});
}

TEST(Point, EqualsOneWithTheSameCoordinates) {
  EXPECT_TRUE(CPoint(3, -4) == CPoint(3, -4));
  EXPECT_FALSE(CPoint(3, -4) == CPoint(3, 4));
  EXPECT_FALSE(CPoint(3, -4) == CPoint(-3, -4));
}

// Style, text and visibility.

DWORD StyleOf(HWND window) {
  return static_cast<DWORD>(GetWindowLongW(window, GWL_STYLE));
}

TEST(ModifyStyle, RemovesAddsAndTellsWhetherItChangedAnything) {
  const struct {
    DWORD before, remove, add, after;
  } Cases[] = {{0x000, 0, 0x100, 0x100},     {0x300, 0x100, 0, 0x200}, {0x100, 0x100, 0x200, 0x200},
               {0x000, 0x100, 0x100, 0x100}, {0x100, 0, 0x100, 0x100}, {0x100, 0x200, 0, 0x100},
               {0x100, 0x100, 0x100, 0x100}, {0x100, 0, 0, 0x100}};
  for (const auto& [before, remove, add, after] : Cases) {
    Attached<> attached;
    const DWORD others = StyleOf(attached.plain);
    ASSERT_EQ(others & 0x300, 0U);
    SetWindowLongW(attached.plain, GWL_STYLE, static_cast<LONG>(others | before));
    attached.plain.Forget();
    EXPECT_EQ(attached.window.ModifyStyle(remove, add), before != after);
    EXPECT_EQ(StyleOf(attached.plain), others | after);
    EXPECT_EQ(attached.plain.GetReceived(WM_STYLECHANGED).size(), before != after ? 1U : 0U);
  }
}

TEST(ModifyStyle, WorksOnAWindowWithoutAnObject) {
  const PlainWindow plain;
  EXPECT_TRUE(CWnd::ModifyStyle(plain, 0, 0x100));
  EXPECT_EQ(StyleOf(plain) & 0x100, 0x100U);
}

TEST(ModifyStyle, RepaintsNothing) {
  Attached<> attached;
  attached.window.ShowWindow(SW_SHOWNOACTIVATE);
  ValidateRect(attached.plain, nullptr);
  attached.plain.Forget();
  EXPECT_TRUE(attached.window.ModifyStyle(0, 0x100));
  EXPECT_FALSE(GetUpdateRect(attached.plain, nullptr, FALSE));
  EXPECT_TRUE(attached.plain.GetReceived(WM_WINDOWPOSCHANGING).empty());
}

std::wstring TextOf(const CWnd& window) {
  std::wstring text = L"an earlier text";
  window.GetWindowText(text);
  return text;
}

TEST(WindowText, IsTheWholeText) {
  const Attached<> attached;
  for (const std::wstring& text :
       {std::wstring(), std::wstring(L"x"), std::wstring(L"Privacy Policy"),
        std::wstring(100'000, L'a') + L"b", std::wstring(L"\u00E4\u0416\u4E2D\U0001F600")}) {
    SetWindowTextW(attached.plain, text.c_str());
    EXPECT_TRUE(TextOf(attached.window) == text) << text.size();
  }
}

TEST(WindowText, IsNoLongerThanTheTextWhenItsLengthIsOnlyAnUpperBound) {
  Attached<> attached;
  SetWindowTextW(attached.plain, L"abc");
  attached.plain.results[WM_GETTEXTLENGTH] = 10;
  EXPECT_EQ(TextOf(attached.window), L"abc");
}

TEST(WindowText, WithoutAWindowIsEmpty) {
  EXPECT_EQ(TextOf(CWnd()), L"");
}

TEST(WindowState, TellsWhetherTheWindowIsVisibleAndMinimized) {
  Attached<> attached;
  EXPECT_FALSE(attached.window.IsWindowVisible());
  EXPECT_FALSE(attached.window.ShowWindow(SW_SHOWNOACTIVATE));
  EXPECT_TRUE(attached.window.IsWindowVisible());
  EXPECT_TRUE(IsWindowVisible(attached.plain));
  EXPECT_FALSE(attached.window.IsIconic());
  EXPECT_TRUE(attached.window.ShowWindow(SW_HIDE));
  EXPECT_FALSE(attached.window.IsWindowVisible());
  attached.window.ShowWindow(SW_SHOWMINNOACTIVE);
  EXPECT_TRUE(attached.window.IsIconic());
}

// CenterWindow.

class CenterWindow : public testing::Test {
 protected:
  CenterWindow() { EXPECT_TRUE(SystemParametersInfoW(SPI_GETWORKAREA, 0, &area_, 0)); }

  /// The place of a centered window of this size.
  static RECT Center(HWND owner, LONG width, LONG height) {
    Attached<> attached(owner, {3, 4, 3 + width, 4 + height});
    attached.window.CenterWindow();
    EXPECT_FALSE(attached.window.IsWindowVisible());
    return attached.plain.GetPlace();
  }

  RECT area_ = {};
};

TEST_F(CenterWindow, IsInTheMiddleOfAVisibleOwnerWithinTheWorkArea) {
  const LONG left = area_.left, top = area_.top, right = area_.right, bottom = area_.bottom;
  const std::pair<RECT, RECT> Cases[] = {
      {{100, 50, 500, 350}, {200, 150, 400, 250}},
      {{300, 250, 340, 270}, {220, 210, 420, 310}},
      {{left, top, left + 40, top + 20}, {left, top, left + 200, top + 100}},
      {{right - 40, bottom - 20, right, bottom}, {right - 200, bottom - 100, right, bottom}},
      {{-500, -400, -300, -200}, {left, top, left + 200, top + 100}}};
  for (const auto& [place, expected] : Cases) {
    const PlainWindow owner(nullptr, place);
    ShowWindow(owner, SW_SHOWNOACTIVATE);
    EXPECT_EQ(Center(owner, 200, 100), expected);
  }
}

TEST_F(CenterWindow, IsInTheMiddleOfTheScreenWithoutAVisibleOwner) {
  const LONG left = area_.left + (area_.right - area_.left - 200) / 2;
  const LONG top = area_.top + (area_.bottom - area_.top - 100) / 2;
  const RECT middle = {left, top, left + 200, top + 100};
  EXPECT_EQ(Center(nullptr, 200, 100), middle);
  const PlainWindow owner(nullptr, {100, 50, 500, 350});
  EXPECT_EQ(Center(owner, 200, 100), middle) << "hidden";
  ShowWindow(owner, SW_SHOWMINNOACTIVE);
  ASSERT_TRUE(IsWindowVisible(owner));
  EXPECT_EQ(Center(owner, 200, 100), middle) << "minimized";
}

TEST_F(CenterWindow, ShowsTheTopLeftCornerOfAWindowThatIsLargerThanTheScreen) {
  const LONG width = area_.right - area_.left;
  const LONG height = area_.bottom - area_.top;
  EXPECT_EQ(Center(nullptr, width, height), area_);
  EXPECT_EQ(Center(nullptr, width + 101, height + 51),
            (RECT{area_.left, area_.top, area_.right + 101, area_.bottom + 51}));
}

TEST_F(CenterWindow, LeavesTheOrderAndTheActiveWindowAsTheyAre) {
  Attached<> attached;
  attached.window.ShowWindow(SW_SHOWNOACTIVATE);
  const PlainWindow above;
  ShowWindow(above, SW_SHOW);
  SetActiveWindow(above);
  ASSERT_EQ(GetActiveWindow(), HWND{above});
  attached.window.CenterWindow();
  EXPECT_EQ(GetActiveWindow(), HWND{above});
  EXPECT_EQ(GetWindow(above, GW_HWNDNEXT), HWND{attached.plain});
}

}  // namespace
