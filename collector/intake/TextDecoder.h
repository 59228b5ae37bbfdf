#pragma once

#include <memory>
#include <string>
#include <string_view>

struct UConverter;

namespace pelto::collector {

/// What becomes of tabs and line feeds.
enum class Lines { removed, kept };

/// Reads text in one code page.
class TextDecoder {
 public:
  /// For a number that is no code page, 1252.
  explicit TextDecoder(int code_page);

  /// The UTF-8 of `bytes`. Each control character, and each piece that is no text in the code page,
  /// becomes U+FFFD: a NUL would end a name for some readers, an escape sequence can change what a
  /// terminal shows. With `Lines::kept`, tabs and line feeds stay.
  std::string decode(std::string_view bytes, Lines lines = Lines::removed) const;

 private:
  std::string decode_piece(std::string_view bytes, Lines lines) const;

  struct Close {
    void operator()(UConverter* converter) const;
  };

  std::unique_ptr<UConverter, Close> converter_;
};

}  // namespace pelto::collector
