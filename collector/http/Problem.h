#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "collector/http/Framing.h"
#include "collector/http/Response.h"

namespace pelto::collector {

/// A response that says what is wrong, as problem details (RFC 9457). `code` is for the log.
Response problem(int status, std::string_view code, const std::string& detail);
/// The same with further members.
Response problem(int status, std::string_view code, const std::string& detail,
                 const nlohmann::ordered_json& members);

/// 404 for a path that is unknown.
Response unknown_path();
/// 405; `allowed` are the methods that the path has, as "GET, HEAD".
Response wrong_method(const std::string& allowed);
/// The response if a body is too large, or its length not known before it; for sites that take
/// small JSON bodies.
std::optional<Response> refuse_body(const Framing& framing);

/// The most bytes of such a body.
inline constexpr std::size_t largest_json_body = std::size_t{64} * 1024;

/// A response with JSON in UTF-8. It is not stored by anybody on its way.
Response json_response(int status, const nlohmann::ordered_json& json);
/// The same for JSON that is a text already, a line without its end.
Response json_line_response(const std::string& line);

/// The field that keeps a response from being stored.
inline constexpr char no_store[] = "Cache-Control: no-store\r\n";

}  // namespace pelto::collector
