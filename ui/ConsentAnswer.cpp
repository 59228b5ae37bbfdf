#include "ui/ConsentAnswer.h"

ConsentAnswer MakeAnswer(bool participates, const std::wstring& emailText, bool silenced) {
  return {participates ? 1 : 2, FilterEmail(emailText), !silenced};
}

std::wstring FilterEmail(const std::wstring& typed) {
  const size_t at = typed.find(L'@');
  const size_t dot = typed.rfind(L'.');
  const bool isKept = at != std::wstring::npos && dot != std::wstring::npos && dot >= at;
  return isKept ? typed : std::wstring();
}
