#include "collector/storage/AddressCase.h"

#include <unicode/unistr.h>

namespace pelto::collector {

std::string fold_address(std::string_view address) {
  std::string folded;
  icu::UnicodeString::fromUTF8(icu::StringPiece(address.data(), static_cast<int>(address.size())))
      .foldCase()
      .toUTF8String(folded);
  return folded;
}

}  // namespace pelto::collector
