// A form of any bytes: the first line is the content type, the rest is the body. What was read lies
// in the body in its order, and a form that is made of it reads the same.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "collector/intake/Form.h"
#include "collector/intake/Intake.h"

namespace {

using pelto::collector::FormField;

/// The fields as a form; none of them holds the boundary.
std::string write(const std::vector<FormField>& fields, const std::string& boundary) {
  std::string body;
  for (const FormField& field : fields) {
    body += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"";
    for (const char c : field.name) {
      if (c == '"' || c == '\\') body += '\\';
      body += c;
    }
    body += "\"\r\n\r\n" + std::string(field.value) + "\r\n";
  }
  return body + "--" + boundary + "--\r\n";
}

/// Whether a header can hold the name in 8 KiB, and no line of it would end.
bool can_be_written(const FormField& field) {
  return field.name.size() < 4000 && field.name.find_first_of("\r\n") == std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t line_end = std::min(input.find('\n'), input.size());
  const std::string content_type = input.substr(0, line_end);
  const std::string body = input.substr(std::min(line_end + 1, input.size()));
  pelto::collector::read_request(content_type, body, {});

  const auto form = pelto::collector::read_form(content_type, body);
  const auto* const fields = std::get_if<std::vector<FormField>>(&form);
  if (fields == nullptr) return 0;
  const char* from = body.data();
  for (const FormField& field : *fields) {
    if (field.value.data() == nullptr) continue;
    if (field.value.data() < from) std::abort();
    from = field.value.data() + field.value.size();
  }
  if (from > body.data() + body.size()) std::abort();

  std::string boundary = "x";
  while (body.find(boundary) != std::string::npos && boundary.size() < 70) boundary += "x";
  if (body.find(boundary) != std::string::npos) return 0;
  if (!std::all_of(fields->begin(), fields->end(), can_be_written)) return 0;
  const std::string written = write(*fields, boundary);
  const auto again =
      pelto::collector::read_form("multipart/form-data; boundary=" + boundary, written);
  const auto* const same = std::get_if<std::vector<FormField>>(&again);
  if (same == nullptr || same->size() != fields->size()) std::abort();
  for (std::size_t i = 0; i < fields->size(); ++i) {
    if ((*same)[i].name != (*fields)[i].name || (*same)[i].value != (*fields)[i].value) {
      std::abort();
    }
  }
  return 0;
}
