#include "collector/http/Cookie.h"

#include <algorithm>

namespace pelto::collector {

namespace {

std::string cookie_field(std::string_view value, std::string_view more, bool is_secure) {
  std::string field = "Set-Cookie: ";
  field.append(session_cookie(is_secure)).append("=").append(value).append("; Path=/").append(more);
  field.append("; HttpOnly; SameSite=Strict").append(is_secure ? "; Secure\r\n" : "\r\n");
  return field;
}

}  // namespace

std::string_view session_cookie(bool is_secure) {
  return is_secure ? "__Host-pelto-session" : "pelto-session";
}

std::string_view session_token(const std::vector<std::string_view>& cookies, bool is_secure) {
  const std::string_view name = session_cookie(is_secure);
  for (std::string_view rest : cookies) {
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find(';'), rest.size());
      std::string_view pair = rest.substr(0, end);
      rest.remove_prefix(std::min(end + 1, rest.size()));
      pair.remove_prefix(std::min(pair.find_first_not_of(' '), pair.size()));
      const std::size_t equals = pair.find('=');
      if (equals != std::string_view::npos && pair.substr(0, equals) == name) {
        return pair.substr(equals + 1);
      }
    }
  }
  return {};
}

std::string set_session_cookie(std::string_view token, bool is_secure) {
  return cookie_field(token, {}, is_secure);
}

std::string clear_session_cookie(bool is_secure) {
  return cookie_field({}, "; Max-Age=0", is_secure);
}

}  // namespace pelto::collector
