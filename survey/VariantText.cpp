#include "survey/VariantText.h"

#include <oleauto.h>

std::optional<std::wstring> ReadVariantText(VARIANT& value) {
  // A conversion that fails leaves the value as it is.
  if (V_VT(&value) != VT_BSTR) VariantChangeType(&value, &value, VARIANT_ALPHABOOL, VT_BSTR);
  if (V_VT(&value) != VT_BSTR) return {};
  // A null pointer is automation's empty text.
  return V_BSTR(&value) != nullptr ? std::wstring(V_BSTR(&value)) : std::wstring();
}
