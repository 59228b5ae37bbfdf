#include "collector/http/Cookie.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

TEST(Cookie, HasTheTokenAmongOthers) {
  EXPECT_EQ(session_token({"pelto-session=abc"}), "abc");
  EXPECT_EQ(session_token({"a=b; pelto-session=abc; c=d"}), "abc");
  EXPECT_EQ(session_token({"a=b", "c;  pelto-session=a=c"}), "a=c");
}

TEST(Cookie, OfAnotherNameIsNone) {
  EXPECT_EQ(session_token({}), "");
  EXPECT_EQ(session_token({""}), "");
  EXPECT_EQ(session_token({"pelto-session", "xpelto-session=abc", "pelto-session2=abc", ";;"}), "");
}

TEST(Cookie, IsForTheBrowserAlone) {
  EXPECT_EQ(set_session_cookie("abc", false),
            "Set-Cookie: pelto-session=abc; Path=/; HttpOnly; SameSite=Strict\r\n");
  EXPECT_EQ(set_session_cookie("abc", true),
            "Set-Cookie: pelto-session=abc; Path=/; HttpOnly; SameSite=Strict; Secure\r\n");
}

TEST(Cookie, IsTakenBack) {
  EXPECT_EQ(clear_session_cookie(true),
            "Set-Cookie: pelto-session=; Path=/; Max-Age=0; HttpOnly; SameSite=Strict; Secure\r\n");
}

}  // namespace
}  // namespace pelto::collector
