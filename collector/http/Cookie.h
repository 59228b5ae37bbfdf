// The cookie that has the token of a session.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pelto::collector {

inline constexpr char session_cookie[] = "pelto-session";

/// The token in the values of a request's Cookie fields; empty if there is none.
std::string_view session_token(const std::vector<std::string_view>& cookies);

/// The field that gives the token to the browser: no script reads it, and no other site's request
/// carries it. `is_secure`: it is sent over TLS alone.
std::string set_session_cookie(std::string_view token, bool is_secure);
/// The field that takes it back.
std::string clear_session_cookie(bool is_secure);

}  // namespace pelto::collector
