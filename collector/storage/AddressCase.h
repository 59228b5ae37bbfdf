#pragma once

#include <string>
#include <string_view>

namespace pelto::collector {

/// An e-mail address (UTF-8) in the form in which two are compared: by Unicode's full case folding,
/// so that "STRASSE" is equal to "straße". Bytes that are no UTF-8 become U+FFFD.
std::string fold_address(std::string_view address);

}  // namespace pelto::collector
