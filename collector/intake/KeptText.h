#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "collector/intake/TextDecoder.h"

class TiXmlDocument;

namespace pelto::collector {

/// The text of a report as it can be kept without a word that an erasure would have to look for.
/// It has not, wherever they are in the document: the values of properties that identify somebody
/// (installation, e-mail address, network adapter), file types that are no plain extension, and
/// declarations, which would name another encoding. Each remaining occurrence of one of `secrets`,
/// in the document's bytes, gives way to one character; letter case makes no difference.
std::string text_to_keep(const TiXmlDocument& document, const TextDecoder& decoder,
                         const std::vector<std::string_view>& secrets);

/// Whether a property of this name holds an adapter's hardware address; letter case is ignored.
bool is_adapter_address(std::string_view name);

}  // namespace pelto::collector
