#include "samples/language/ModuleNames.h"

#include <gtest/gtest.h>

namespace {

using Names = std::vector<std::wstring>;

/// What is between "LangExt." and ".dll" in the names of the modules.
Names Languages(const Names& preferred) {
  Names languages;
  for (const std::wstring& name : ModuleNames(preferred)) {
    const std::wstring prefix = L"LangExt.";
    const std::wstring suffix = L".dll";
    EXPECT_EQ(name.substr(0, prefix.size()), prefix);
    EXPECT_EQ(name.substr(name.size() - suffix.size()), suffix);
    languages.push_back(name.substr(prefix.size(), name.size() - prefix.size() - suffix.size()));
  }
  return languages;
}

TEST(ModuleNames, AreThoseOfTheLanguageAndOfMoreGeneralOnes) {
  EXPECT_EQ(ModuleNames({L"de"}), Names{L"LangExt.de.dll"});
  EXPECT_EQ(ModuleNames({L"de-AT"}), (Names{L"LangExt.de-at.dll", L"LangExt.de.dll"}));
  EXPECT_EQ(Languages({L"sr-Latn-RS"}), (Names{L"sr-latn-rs", L"sr-latn", L"sr"}));
  EXPECT_EQ(Languages({L"es-419"}), (Names{L"es-419", L"es"}));
  EXPECT_EQ(Languages({L"fil-PH"}), (Names{L"fil-ph", L"fil"})) << "not Finnish";
}

TEST(ModuleNames, IgnoreTheCaseOfTheLanguage) {
  EXPECT_EQ(Languages({L"DE-at"}), (Names{L"de-at", L"de"}));
  EXPECT_EQ(Languages({L"ZH-HANS-cn"}), (Names{L"zh-hans-cn", L"zh-hans"}));
  EXPECT_EQ(Languages({L"EN-us", L"de"}), Names{});
}

TEST(ModuleNames, IgnoreAnOrderOfSorting) {
  EXPECT_EQ(Languages({L"es-ES_tradnl"}), (Names{L"es-es", L"es"}));
  EXPECT_EQ(Languages({L"zh-CN_stroke"}), (Names{L"zh-hans-cn", L"zh-hans"}));
}

TEST(ModuleNames, KeepTheOrderOfPreferenceAndNameEachModuleOnce) {
  EXPECT_EQ(Languages({L"pl-PL", L"de-AT", L"de-DE", L"de", L"pl"}),
            (Names{L"pl-pl", L"pl", L"de-at", L"de", L"de-de"}));
}

TEST(ModuleNames, EndBeforeEnglishWhichTheProgramItselfSpeaks) {
  for (const wchar_t* const english : {L"en", L"en-US", L"en-GB", L"en-001", L"en_US"}) {
    EXPECT_EQ(Languages({english}), Names{});
    EXPECT_EQ(Languages({english, L"de-DE", L"de"}), Names{});
    EXPECT_EQ(Languages({L"fr-FR", english, L"de-DE"}), (Names{L"fr-fr", L"fr"}));
  }
  EXPECT_EQ(Languages({L"enm", L"de"}), (Names{L"enm", L"de"})) << "not English";
}

TEST(ModuleNames, OfAnUnknownLanguageAreFollowedByThoseOfTheNextOne) {
  EXPECT_EQ(Languages({L"gsw-CH", L"gsw", L"de-CH"}), (Names{L"gsw-ch", L"gsw", L"de-ch", L"de"}));
}

TEST(ModuleNames, OfChineseGoByItsScript) {
  for (const wchar_t* const language : {L"zh-Hans", L"zh-hans"}) {
    EXPECT_EQ(Languages({language}), Names{L"zh-hans"});
  }
  EXPECT_EQ(Languages({L"zh-CN"}), (Names{L"zh-hans-cn", L"zh-hans"}));
  EXPECT_EQ(Languages({L"zh-SG"}), (Names{L"zh-hans-sg", L"zh-hans"}));
  EXPECT_EQ(Languages({L"zh-Hans-HK"}), (Names{L"zh-hans-hk", L"zh-hans"})) << "not by the country";
  EXPECT_EQ(Languages({L"zh-Hant-CN"}), (Names{L"zh-hant-cn", L"zh-hant"}));
  for (const std::wstring country : {L"tw", L"hk", L"mo"}) {
    EXPECT_EQ(Languages({L"zh-" + country}), (Names{L"zh-hant-" + country, L"zh-hant"}));
  }
  EXPECT_EQ(Languages({L"zh-CN", L"zh-Hans", L"zh", L"en-US", L"en"}),
            (Names{L"zh-hans-cn", L"zh-hans"}));
}

TEST(ModuleNames, OfChineseAreNoneWithoutScriptAndCountry) {
  EXPECT_EQ(Languages({L"zh"}), Names{});
  EXPECT_EQ(Languages({L"zh-US", L"de"}), Names{L"de"});
  EXPECT_EQ(Languages({L"zh-TW", L"zh-Hant", L"zh", L"en-US"}), (Names{L"zh-hant-tw", L"zh-hant"}))
      << "never the other script";
}

TEST(ModuleNames, LeadToNoOtherFolderAndToNoOtherFile) {
  for (const wchar_t* const other :
       {L"",       L"-",          L"de-",          L"-de",   L"de--AT", L"..\\de",  L"de/AT",
        L"de\\AT", L"C:de",       L"d e",          L"de.AT", L"de*",    L"d\u00e9", L"_",
        L"_de",    L"de\u2010AT", L"\uff44\uff45", L"[\\]",  L"{de}",   L"`de",     L"@de",
        L"/0",     L":9"}) {
    EXPECT_EQ(Languages({other}), Names{}) << other;
    EXPECT_EQ(Languages({other, L"de"}), Names{L"de"}) << other;
  }
  EXPECT_EQ(Languages({L"az09-AZ"}), (Names{L"az09-az", L"az09"})) << "the first and last of each";
}

TEST(ModuleNames, AreNoneWithoutALanguage) {
  EXPECT_EQ(ModuleNames({}), Names{});
}

}  // namespace
