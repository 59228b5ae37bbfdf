#include "collector/serve/PageFiles.h"

#include <algorithm>
#include <array>
#include <utility>

#include "collector/http/Problem.h"

namespace pelto::collector {

namespace {

std::string_view type_of(std::string_view path) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 5> types{{
      {".html", "text/html; charset=utf-8"},
      {".js", "text/javascript; charset=utf-8"},
      {".css", "text/css; charset=utf-8"},
      {".svg", "image/svg+xml"},
      {".png", "image/png"},
  }};
  const auto* const type = std::ranges::find_if(
      types, [path](const auto& known) { return path.ends_with(known.first); });
  return type == types.end() ? "application/octet-stream" : type->second;
}

Response make_response(const EmbeddedFile& file, bool takes_gzip) {
  Response response;
  response.content_type = type_of(file.path);
  response.fixed_body = takes_gzip ? file.gzip : file.content;
  response.fields = "Vary: Accept-Encoding\r\n";
  if (takes_gzip) response.fields += "Content-Encoding: gzip\r\n";
  return response;
}

}  // namespace

std::optional<Response> PageFiles::asset(std::string_view name, bool takes_gzip) const {
  const EmbeddedFile* const file = find("assets/" + std::string(name));
  if (file == nullptr) return std::nullopt;
  Response response = make_response(*file, takes_gzip);
  response.fields += "Cache-Control: public, max-age=31536000, immutable\r\n";
  return response;
}

Response PageFiles::page(std::string_view name, bool takes_gzip) const {
  const EmbeddedFile* const file = find(name);
  if (file != nullptr) {
    Response response = make_response(*file, takes_gzip);
    response.fields += no_store;
    return response;
  }
  Response response;
  response.status = 404;
  response.body = "this program was built without pages; scripts/build.sh builds it with them\n";
  response.code = "no-pages";
  return response;
}

const EmbeddedFile* PageFiles::find(std::string_view path) const {
  const auto file = std::ranges::find(files_, path, &EmbeddedFile::path);
  return file == files_.end() ? nullptr : &*file;
}

}  // namespace pelto::collector
