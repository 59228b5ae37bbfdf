#include "platform/GuidText.h"

#include <gtest/gtest.h>

#include <rpc.h>

#include <set>
#include <utility>

#include "tests/support/ReplacedImport.h"

extern "C" void* __imp_CoCreateGuid;
extern "C" void* __imp_UuidToStringA;

namespace {

TEST(NewGuidText, IsEmptyWhenTheSystemMakesNone) {
  constexpr auto makeNoGuid = +[](GUID*) -> HRESULT { return E_FAIL; };
  constexpr auto makeNoText =
      +[](const UUID*, RPC_CSTR*) -> RPC_STATUS { return RPC_S_OUT_OF_MEMORY; };
  for (const auto& [entry, fail] :
       {std::pair{&__imp_CoCreateGuid, reinterpret_cast<void*>(makeNoGuid)},
        {&__imp_UuidToStringA, reinterpret_cast<void*>(makeNoText)}}) {
    const ReplacedImport replaced(*entry, fail);
    std::wstring text = L"what was there before";
    EXPECT_FALSE(NewGuidText(text));
    EXPECT_EQ(text, L"");
  }
}

TEST(NewGuidText, Has36LowerCaseCharactersAndNoBraces) {
  std::wstring text = L"what was there before";
  ASSERT_TRUE(NewGuidText(text));
  ASSERT_EQ(text.size(), 36U);
  for (size_t i = 0; i < text.size(); ++i) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      EXPECT_EQ(text[i], L'-') << "at " << i;
    } else {
      EXPECT_NE(std::wstring_view(L"0123456789abcdef").find(text[i]), std::wstring_view::npos)
          << "at " << i;
    }
  }
}

TEST(NewGuidText, IsNewEachTime) {
  std::set<std::wstring> texts;
  for (int i = 0; i < 1000; ++i) {
    std::wstring text;
    ASSERT_TRUE(NewGuidText(text));
    texts.insert(text);
  }
  EXPECT_EQ(texts.size(), 1000U);
}

}  // namespace
