// The lines of a file, in its order and by their place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace pelto::collector {

/// A file that is open for reading.
class LineFile {
 public:
  struct Place {
    std::int64_t offset = 0;
    std::size_t length = 0;
  };

  /// Opens the file at `path`; "-" is standard input. What can be read only once is copied into a
  /// file in `folder` first, which has no name and is gone with this object. Throws `CommandError`.
  LineFile(const std::string& path, const std::filesystem::path& folder);

  /// Calls `take` with each line without its line end (LF), and its place. A line that is longer
  /// than `longest` has no text. Throws `CommandError`.
  void for_each_line(
      std::size_t longest,
      const std::function<void(std::optional<std::string_view> line, Place place)>& take) const;
  /// The bytes at a place; fewer if the file has become shorter. Throws `CommandError`.
  std::string read(Place place) const;

 private:
  /// Closes a file's descriptor at its end. Below 0: there is none.
  class Descriptor {
   public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    int get() const { return number_; }

   private:
    int number_;
  };

  static Descriptor open_file(const std::string& path, const std::filesystem::path& folder);
  std::size_t read_some(char* buffer, std::size_t size, std::int64_t offset) const;

  std::string path_;
  Descriptor file_;
};

}  // namespace pelto::collector
