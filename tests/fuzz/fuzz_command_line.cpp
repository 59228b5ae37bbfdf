// What the sample of a host quotes arrives in the program unchanged, whatever is in it. The input
// is the four texts of an upload, as UTF-16 with NUL characters between them.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "app/CommandLine.h"
#include "samples/host/PeltoHost.h"
#include "tests/support/CommandLineRule.h"

namespace {

using Texts = std::array<std::wstring, 4>;

Texts SplitTexts(const std::uint8_t* data, std::size_t size) {
  Texts texts;
  std::size_t text = 0;
  for (std::size_t i = 0; i + 1 < size && text < texts.size(); i += 2) {
    const auto character = static_cast<wchar_t>(data[i] | data[i + 1] << 8);
    if (character == 0) {
      ++text;
    } else {
      texts[text] += character;
    }
  }
  return texts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Texts texts = SplitTexts(data, size);
  std::wstring line = pelto::QuoteArgument(L"C:\\Program Files\\PELTOSender.exe") + L" \"duty\"";
  for (const std::wstring& text : texts) line += L' ' + pelto::QuoteArgument(text);

  const auto parsed = ParseCommandLine(SplitQuotedCommandLine(line));
  const bool isComplete = !texts[0].empty() && !texts[1].empty();
  if (parsed.has_value() != isComplete) std::abort();
  if (parsed && Texts{parsed->uploadAddress, parsed->dataFolder, parsed->applicationName,
                      parsed->applicationPath} != texts) {
    std::abort();
  }
  return 0;
}
