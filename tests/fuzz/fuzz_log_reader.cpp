// The log reader and the counter on any bytes: they agree with a plain reader, which takes one byte
// after the other, and with plain maps, and do not depend on the pieces in which the bytes come.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/AnsiText.h"
#include "platform/FileExtension.h"
#include "tests/support/TestText.h"
#include "usage/EventCounter.h"
#include "usage/LogLine.h"
#include "usage/LogLineReader.h"

namespace {

/// The file as a text stream shows it.
std::string TextOf(const std::string& bytes) {
  std::string text;
  for (size_t i = 0; i < bytes.size() && bytes[i] != '\x1A'; ++i) {
    if (bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') continue;
    text += bytes[i];
  }
  return text;
}

/// Reads lines as `std::istream::getline` does into 1,024 bytes that hold a C text.
class SlowLines {
 public:
  explicit SlowLines(std::string text) : text_(std::move(text)) {}

  std::string Next() {
    std::string line;
    while (!isFailed_ && at_ < text_.size()) {
      if (text_[at_] == '\n') {
        ++at_;
        return line.c_str();
      }
      if (line.size() == 1023) {
        isFailed_ = true;
        break;
      }
      line += text_[at_++];
    }
    return line.c_str();
  }

 private:
  std::string text_;
  size_t at_ = 0;
  bool isFailed_ = false;
};

/// The events as texts, and what they count.
struct Outcome {
  std::vector<std::string> events;
  /// Count and place by name.
  std::map<std::wstring, std::pair<std::uint64_t, std::uint32_t>> commands;
  /// Opened and saved by file type.
  std::map<std::wstring, std::pair<std::uint64_t, std::uint64_t>> fileTypes;

  bool operator==(const Outcome&) const = default;
};

Outcome SlowOutcome(const std::string& bytes) {
  SlowLines lines(TextOf(bytes));
  Outcome outcome;
  for (std::string line = lines.Next(); !line.empty(); line = lines.Next()) {
    if (line.size() < 23) continue;
    const std::string content = line.substr(23);
    if (content.rfind("Command = ", 0) == 0) {
      const std::string name = content.substr(10);
      outcome.events.push_back("C" + name);
      if (name.empty()) continue;
      auto& [count, place] = outcome.commands[ToWide(name)];
      ++count;
      if (place == 0) place = static_cast<std::uint32_t>(outcome.commands.size());
    } else if (content.rfind("OnOpenDocument", 0) == 0 || content.rfind("OnSaveDocument", 0) == 0) {
      const std::string path = lines.Next();
      if (path.size() < 23) continue;
      const std::string fileType(FindExtension(path.substr(23)));
      outcome.events.push_back(content + "|" + fileType);
      auto& [opened, saved] = outcome.fileTypes[ToWide(fileType)];
      ++(content[2] == 'O' ? opened : saved);
    }
  }
  return outcome;
}

Outcome ReadOutcome(const std::string& bytes, size_t piece) {
  MemorySource source(bytes, piece);
  LogLineReader reader(source);
  CommandStats commands;
  FileTypeStats fileTypes;
  CEventCounter counter(commands, fileTypes);
  Outcome outcome;
  while (const auto event = reader.ReadNext()) {
    counter.Count(*event);
    outcome.events.push_back(event->kind == UsageEventKind::Command
                                 ? "C" + std::string(event->text)
                                 : std::string(event->text) + "|" + std::string(event->fileType));
  }
  for (const auto& [name, stat] : commands.GetEntries()) {
    outcome.commands[name] = {stat.count, stat.order};
  }
  for (const auto& [name, stat] : fileTypes.GetEntries()) {
    outcome.fileTypes[name] = {stat.ocnt, stat.scnt};
  }
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const Outcome expected = SlowOutcome(bytes);
  for (const size_t piece : {std::string::npos, size_t{1}, size_t{1000}}) {
    if (!(ReadOutcome(bytes, piece) == expected)) std::abort();
  }
  return 0;
}
