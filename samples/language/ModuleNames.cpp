#include "ModuleNames.h"

#include <algorithm>
#include <utility>

namespace {

using Subtags = std::vector<std::wstring>;

/// "de-AT" is "de" and "at". None when a subtag is empty or has other characters than letters and
/// digits, which could lead out of the program's folder.
Subtags Split(const std::wstring& language) {
  Subtags subtags(1);
  // Some names, such as "es-ES_tradnl", also say how to sort.
  for (const wchar_t character : language.substr(0, language.find(L'_'))) {
    const bool isUpper = character >= L'A' && character <= L'Z';
    const auto lower = static_cast<wchar_t>(isUpper ? character - L'A' + L'a' : character);
    if (lower == L'-') {
      subtags.emplace_back();
    } else if ((lower >= L'a' && lower <= L'z') || (lower >= L'0' && lower <= L'9')) {
      subtags.back() += lower;
    } else {
      return {};
    }
  }
  const bool hasEmpty = std::find(subtags.begin(), subtags.end(), L"") != subtags.end();
  return hasEmpty ? Subtags() : subtags;
}

/// The subtags of Chinese with those of its script, by its country when it names none: "zh-sg" is
/// "zh-hans-sg". Where it names neither, readers of one script would get the other: none.
Subtags WithScript(const Subtags& chinese) {
  constexpr std::pair<const wchar_t*, const wchar_t*> Scripts[] = {
      {L"hans", L"hans"}, {L"hant", L"hant"}, {L"cn", L"hans"}, {L"sg", L"hans"},
      {L"tw", L"hant"},   {L"hk", L"hant"},   {L"mo", L"hant"}};
  for (const auto& [subtag, script] : Scripts) {
    const auto found = std::find(chinese.begin() + 1, chinese.end(), subtag);
    if (found == chinese.end()) continue;
    Subtags subtags = chinese;
    if (*found != script) subtags.insert(subtags.begin() + 1, script);
    return subtags;
  }
  return {};
}

}  // namespace

std::vector<std::wstring> ModuleNames(const std::vector<std::wstring>& languages) {
  std::vector<std::wstring> names;
  for (const std::wstring& language : languages) {
    Subtags subtags = Split(language);
    if (subtags.empty()) continue;
    if (subtags.front() == L"en") break;
    const bool isChinese = subtags.front() == L"zh";
    if (isChinese) subtags = WithScript(subtags);
    // From the language itself to the most general one: that of its script, or of no country.
    for (; subtags.size() > (isChinese ? 1U : 0U); subtags.pop_back()) {
      std::wstring name = L"LangExt";
      for (size_t index = 0; index < subtags.size(); ++index) {
        name += (index == 0 ? L"." : L"-") + subtags[index];
      }
      name += L".dll";
      if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
  }
  return names;
}
