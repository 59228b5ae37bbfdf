#include "collector/http/Site.h"

#include "collector/http/Text.h"

namespace pelto::collector {

std::vector<std::string_view> Request::values(std::string_view name) const {
  std::vector<std::string_view> found;
  for (const Field& field : fields) {
    if (equals_ignoring_case(field.name, name)) found.emplace_back(field.value);
  }
  return found;
}

}  // namespace pelto::collector
