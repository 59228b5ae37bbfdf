#pragma once

#include <string>

/// The user's answer in the form in which the settings store it.
struct ConsentAnswer {
  /// 1: takes part, 2: does not.
  int state;
  std::wstring email;
  bool showsMessage;
};

/// The consent state of a user who asked to be reminded.
constexpr int RemindLaterState = 3;

/// Makes the answer of the dialog's controls: whether "Yes" is checked, the text of the e-mail
/// field and whether the user asked for no more reminders. The address is kept with a "No", too
/// (docs/compatibility.md, 54).
ConsentAnswer MakeAnswer(bool participates, const std::wstring& emailText, bool silenced);

/// Returns the typed address unchanged, spaces included, if it has an at-sign and its last dot
/// follows the first at-sign; otherwise the empty text. Nothing else is checked.
std::wstring FilterEmail(const std::wstring& typed);

/// Whether a dialog that opens with the stored `state` has "Yes" checked: with every state but 2,
/// which is also the state when nothing is stored (docs/compatibility.md, 57).
constexpr bool PreselectsParticipation(int state) {
  return state != 2;
}
