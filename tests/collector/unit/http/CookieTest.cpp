#include "collector/http/Cookie.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

TEST(Cookie, HasTheTokenAmongOthers) {
  EXPECT_EQ(session_token({"pelto-session=abc"}, false), "abc");
  EXPECT_EQ(session_token({"a=b; pelto-session=abc; c=d"}, false), "abc");
  EXPECT_EQ(session_token({"a=b", "c;  pelto-session=a=c"}, false), "a=c");
  EXPECT_EQ(session_token({"a=b; __Host-pelto-session=abc"}, true), "abc");
}

TEST(Cookie, OfAnotherNameIsNone) {
  EXPECT_EQ(session_token({}, false), "");
  EXPECT_EQ(session_token({""}, false), "");
  const std::vector<std::string_view> others{"pelto-session", "xpelto-session=abc",
                                             "pelto-session2=abc", ";;"};
  EXPECT_EQ(session_token(others, false), "");
}

TEST(Cookie, OverTlsIsNotOneThatAnotherHostOfTheDomainCouldSet) {
  EXPECT_EQ(session_token({"pelto-session=abc"}, true), "");
  EXPECT_EQ(session_token({"__Host-pelto-session=abc"}, false), "");
}

TEST(Cookie, IsForTheBrowserAlone) {
  EXPECT_EQ(set_session_cookie("abc", false),
            "Set-Cookie: pelto-session=abc; Path=/; HttpOnly; SameSite=Strict\r\n");
  EXPECT_EQ(set_session_cookie("abc", true),
            "Set-Cookie: __Host-pelto-session=abc; Path=/; HttpOnly; SameSite=Strict; Secure\r\n");
}

TEST(Cookie, IsTakenBack) {
  EXPECT_EQ(clear_session_cookie(false),
            "Set-Cookie: pelto-session=; Path=/; Max-Age=0; HttpOnly; SameSite=Strict\r\n");
  EXPECT_EQ(clear_session_cookie(true),
            "Set-Cookie: __Host-pelto-session=; Path=/; Max-Age=0; HttpOnly; SameSite=Strict; "
            "Secure\r\n");
}

}  // namespace
}  // namespace pelto::collector
