#include "survey/VariantText.h"

#include <oleauto.h>

std::optional<std::wstring> ReadVariantText(VARIANT& value) {
  // A failed conversion leaves the value unchanged.
  if (V_VT(&value) != VT_BSTR) VariantChangeType(&value, &value, VARIANT_ALPHABOOL, VT_BSTR);
  if (V_VT(&value) != VT_BSTR) return {};
  // In OLE automation a null BSTR is an empty text.
  return V_BSTR(&value) != nullptr ? std::wstring(V_BSTR(&value)) : std::wstring();
}
