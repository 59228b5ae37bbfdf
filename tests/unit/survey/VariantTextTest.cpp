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
Text TextOf(VARTYPE type, Set set) {
  VARIANT value = {};
  V_VT(&value) = type;
  set(value);
  Text text = ReadVariantText(value);
  EXPECT_EQ(VariantClear(&value), S_OK);
  return text;
}

Text TextOfString(BSTR string) {
  return TextOf(VT_BSTR, [string](VARIANT& value) { V_BSTR(&value) = string; });
}

TEST(VariantText, TextIsItself) {
  EXPECT_EQ(TextOfString(SysAllocString(L"Generic card")), L"Generic card");
  EXPECT_EQ(TextOfString(SysAllocString(L"  0012 \n")), L"  0012 \n");
  EXPECT_EQ(TextOfString(SysAllocString(L"True \u00E4\u20AC")), L"True \u00E4\u20AC");
}

TEST(VariantText, EmptyTextIsText) {
  EXPECT_EQ(TextOfString(SysAllocString(L"")), L"");
  EXPECT_EQ(TextOfString(nullptr), L"");
}

TEST(VariantText, TextEndsAtItsFirstNul) {
  EXPECT_EQ(TextOfString(SysAllocStringLen(L"ab\0cd", 5)), L"ab");
}

TEST(VariantText, LongTextIsWhole) {
  const std::wstring text(100'000, L'x');
  EXPECT_EQ(TextOfString(SysAllocString(text.c_str())), text);
}

TEST(VariantText, BooleanIsAWord) {
  EXPECT_EQ(TextOf(VT_BOOL, [](VARIANT& v) { V_BOOL(&v) = VARIANT_TRUE; }), L"True");
  EXPECT_EQ(TextOf(VT_BOOL, [](VARIANT& v) { V_BOOL(&v) = VARIANT_FALSE; }), L"False");
}

TEST(VariantText, NumberIsDecimal) {
  EXPECT_EQ(TextOf(VT_I4, [](VARIANT& v) { V_I4(&v) = 1920; }), L"1920");
  EXPECT_EQ(TextOf(VT_I4, [](VARIANT& v) { V_I4(&v) = 0; }), L"0");
  EXPECT_EQ(TextOf(VT_I2, [](VARIANT& v) { V_I2(&v) = -120; }), L"-120");
  EXPECT_EQ(TextOf(VT_UI1, [](VARIANT& v) { V_UI1(&v) = 255; }), L"255");
  EXPECT_EQ(TextOf(VT_R8, [](VARIANT& v) { V_R8(&v) = 2.0; }), L"2");
}

// WMI hands an unsigned number of 32 bits out as a signed one. It is reported as it comes.
TEST(VariantText, Unsigned32BitNumberInASignedValueIsNegative) {
  EXPECT_EQ(TextOf(VT_I4, [](VARIANT& v) { V_I4(&v) = static_cast<LONG>(0xFFF00000); }),
            L"-1048576");
}

TEST(VariantText, Number64BitsWideIsExact) {
  EXPECT_EQ(TextOf(VT_UI8, [](VARIANT& v) { V_UI8(&v) = ~0ULL; }), L"18446744073709551615");
  EXPECT_EQ(TextOf(VT_I8, [](VARIANT& v) { V_I8(&v) = std::numeric_limits<LONGLONG>::min(); }),
            L"-9223372036854775808");
  // The form in which WMI hands out such numbers.
  EXPECT_EQ(TextOfString(SysAllocString(L"18446744073709551615")), L"18446744073709551615");
}

TEST(VariantText, NullHasNoText) {
  EXPECT_EQ(TextOf(VT_NULL, [](VARIANT&) {}), std::nullopt);
}

TEST(VariantText, ErrorCodeHasNoText) {
  EXPECT_EQ(TextOf(VT_ERROR, [](VARIANT& v) { V_ERROR(&v) = E_FAIL; }), std::nullopt);
}

// Not null: automation's value of nothing is an empty text.
TEST(VariantText, EmptyValueIsAnEmptyText) {
  EXPECT_EQ(TextOf(VT_EMPTY, [](VARIANT&) {}), L"");
}

TEST(VariantText, ArrayHasNoTextAndStaysAsItIs) {
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

TEST(VariantText, EmbeddedObjectHasNoTextAndStaysAsItIs) {
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

TEST(VariantText, MissingObjectHasNoText) {
  EXPECT_EQ(TextOf(VT_UNKNOWN, [](VARIANT& v) { V_UNKNOWN(&v) = nullptr; }), std::nullopt);
}

}  // namespace
