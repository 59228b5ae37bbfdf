#pragma once

#include <chrono>
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
/// 403 for a request that a page of another site makes.
Response other_origin();
/// A problem of this moment: its response says after how many seconds to try again.
Response try_later(int status, std::string_view code, const std::string& detail,
                   std::chrono::seconds after);
/// The response if a body has more than `most` bytes, or its length is not known before it.
std::optional<Response> refuse_body(const Framing& framing, std::size_t most);

/// A response with JSON in UTF-8. It is not stored by anybody on its way.
Response json_response(int status, const nlohmann::ordered_json& json);
/// The same for JSON that is a text already, a line without its end.
Response json_line_response(const std::string& line);

/// The field that keeps a response from being stored.
inline constexpr char no_store[] = "Cache-Control: no-store\r\n";

}  // namespace pelto::collector
