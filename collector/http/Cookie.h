// The cookie that has the token of a session.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pelto::collector {

// In all that follows, `is_secure` says whether the browser speaks TLS.

/// Over TLS the name has the prefix with which browsers take the cookie over TLS alone, and from
/// this host alone, not from others of its domain (draft-ietf-httpbis-rfc6265bis, 4.1.3.2). Without
/// TLS they would refuse it.
std::string_view session_cookie(bool is_secure);

/// The token in the values of a request's Cookie fields; empty if there is none.
std::string_view session_token(const std::vector<std::string_view>& cookies, bool is_secure);

/// The field that gives the token to the browser: no script reads it, and no other site's request
/// carries it. Over TLS it is not sent without.
std::string set_session_cookie(std::string_view token, bool is_secure);
/// The field that takes it back.
std::string clear_session_cookie(bool is_secure);

}  // namespace pelto::collector
