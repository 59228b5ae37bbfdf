// What the tests of the pages and of the participants' site share.
#pragma once

#include <string>

#include "tests/collector/unit/serve/TestClient.h"

namespace pelto::collector {

/// A request that begins with `start`, its method and target, and has further fields.
std::string with_body(const std::string& start, const std::string& fields, const std::string& body);

/// Expects that a response says what a page may do.
void expect_security(const Reply& reply);
/// Expects problem details with this status.
void expect_problem(const Reply& reply, int status);

}  // namespace pelto::collector
