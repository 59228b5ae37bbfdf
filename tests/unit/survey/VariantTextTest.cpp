#include "survey/VariantText.h"

#include <gtest/gtest.h>
#include <objbase.h>
#include <oleauto.h>

#include <limits>
#include <string>

namespace {

using Text = std::optional<std::wstring>;

/// A value of type `type` whose content `set` writes.
template <typename Set>
Text Read(VARTYPE type, Set set) {
  VARIANT value = {};
  V_VT(&value) = type;
  set(value);
  Text text = ReadVariantText(value);
  EXPECT_EQ(VariantClear(&value), S_OK);
  return text;
}

Text ReadText(BSTR string) {
  return Read(VT_BSTR, [string](VARIANT& value) { V_BSTR(&value) = string; });
}

TEST(VariantText, TextIsUnchangedUpToItsFirstNul) {
  const std::wstring longText(100'000, L'x');
  for (const wchar_t* const text : {L"Generic card", L"  0012 \n", L"True \u00E4\u20AC", L"",
                                    longText.c_str(), L"18446744073709551615"}) {
    EXPECT_EQ(ReadText(SysAllocString(text)), text);
  }
  EXPECT_EQ(ReadText(nullptr), L"");
  EXPECT_EQ(ReadText(SysAllocStringLen(L"ab\0cd", 5)), L"ab");
}

TEST(VariantText, BooleanIsAWord) {
  EXPECT_EQ(Read(VT_BOOL, [](VARIANT& v) { V_BOOL(&v) = VARIANT_TRUE; }), L"True");
  EXPECT_EQ(Read(VT_BOOL, [](VARIANT& v) { V_BOOL(&v) = VARIANT_FALSE; }), L"False");
}

TEST(VariantText, NumberIsDecimal) {
  EXPECT_EQ(Read(VT_I4, [](VARIANT& v) { V_I4(&v) = 1920; }), L"1920");
  EXPECT_EQ(Read(VT_I4, [](VARIANT& v) { V_I4(&v) = 0; }), L"0");
  EXPECT_EQ(Read(VT_I2, [](VARIANT& v) { V_I2(&v) = -120; }), L"-120");
  EXPECT_EQ(Read(VT_UI1, [](VARIANT& v) { V_UI1(&v) = 255; }), L"255");
  EXPECT_EQ(Read(VT_R8, [](VARIANT& v) { V_R8(&v) = 2.0; }), L"2");
  EXPECT_EQ(Read(VT_UI8, [](VARIANT& v) { V_UI8(&v) = ~0ULL; }), L"18446744073709551615");
  EXPECT_EQ(Read(VT_I8, [](VARIANT& v) { V_I8(&v) = std::numeric_limits<LONGLONG>::min(); }),
            L"-9223372036854775808");
  // The form in which WMI returns an unsigned number of 32 bits.
  EXPECT_EQ(Read(VT_I4, [](VARIANT& v) { V_I4(&v) = static_cast<LONG>(0xFFF00000); }), L"-1048576");
}

TEST(VariantText, ValueOfNothingIsAnEmptyTextAndNullErrorAndMissingObjectHaveNone) {
  EXPECT_EQ(Read(VT_EMPTY, [](VARIANT&) {}), L"");
  EXPECT_EQ(Read(VT_NULL, [](VARIANT&) {}), std::nullopt);
  EXPECT_EQ(Read(VT_ERROR, [](VARIANT& v) { V_ERROR(&v) = E_FAIL; }), std::nullopt);
  EXPECT_EQ(Read(VT_UNKNOWN, [](VARIANT& v) { V_UNKNOWN(&v) = nullptr; }), std::nullopt);
}

TEST(VariantText, ArrayHasNoTextAndIsLeftUnchanged) {
  for (const VARTYPE element : {VARTYPE{VT_BSTR}, VARTYPE{VT_I4}, VARTYPE{VT_BOOL}}) {
    VARIANT value = {};
    V_VT(&value) = static_cast<VARTYPE>(VT_ARRAY | element);
    V_ARRAY(&value) = SafeArrayCreateVector(element, 0, 3);
    ASSERT_NE(V_ARRAY(&value), nullptr);
    EXPECT_EQ(ReadVariantText(value), std::nullopt) << element;
    EXPECT_EQ(V_VT(&value), VT_ARRAY | element);
    EXPECT_EQ(VariantClear(&value), S_OK);
  }
}

TEST(VariantText, EmbeddedObjectHasNoTextAndIsLeftUnchanged) {
  IStream* object = nullptr;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &object), S_OK);
  VARIANT value = {};
  V_VT(&value) = VT_UNKNOWN;
  V_UNKNOWN(&value) = object;
  EXPECT_EQ(ReadVariantText(value), std::nullopt);
  EXPECT_EQ(V_VT(&value), VT_UNKNOWN);
  EXPECT_EQ(V_UNKNOWN(&value), object);
  EXPECT_EQ(object->AddRef(), 2U);
  EXPECT_EQ(object->Release(), 1U);
  EXPECT_EQ(VariantClear(&value), S_OK);
}

}  // namespace
