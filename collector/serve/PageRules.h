// What a browser's request may do, and what a page may do in the browser.
#pragma once

#include <string_view>
#include <vector>

#include "collector/http/Site.h"

namespace pelto::collector {

/// Whether a request came from a page of this server, by the values of its fields Sec-Fetch-Site,
/// Origin and Host. Other sites can send requests with the user's browser, but not choose these.
/// Browsers of today send the first one; without it the origin must be the host asked.
bool is_same_origin(const std::vector<std::string_view>& fetch_sites,
                    const std::vector<std::string_view>& origins,
                    const std::vector<std::string_view>& hosts);

/// Whether a request is no other site's: it came from a page of this server, or from a program,
/// which sends neither Sec-Fetch-Site nor Origin. For requests that do not rest on what a browser
/// has of this server.
bool is_no_other_origin(const Request& request);

/// Whether a request was made on this machine: it comes from a loopback address, the host asked is
/// one, and no proxy says that it passes the request on. A proxy on this machine that says neither
/// that nor the host asked cannot be told from a program.
bool is_local(const Request& request);

/// Whether the client takes a body in gzip, by the values of its fields Accept-Encoding (RFC 9110,
/// 12.5.3).
bool accepts_gzip(const std::vector<std::string_view>& encodings);

/// Whether the client asks for a page, by the values of its fields Accept.
bool asks_for_html(const std::vector<std::string_view>& accepts);

/// The fields that every response of the pages has, each with its CR LF: what a page may load, and
/// who may show it.
extern const std::string_view security_fields;

/// The field that tells a browser to come over TLS only, for a year (RFC 6797).
inline constexpr std::string_view only_tls_field =
    "Strict-Transport-Security: max-age=31536000\r\n";

}  // namespace pelto::collector
