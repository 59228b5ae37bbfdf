#pragma once

#include <string>

/// What the user has answered, as the settings keep it.
struct ConsentAnswer {
  /// 1: takes part, 2: does not.
  int state;
  std::wstring email;
  bool showsMessage;
};

/// The consent state of a user who asked to be reminded.
constexpr int RemindLaterState = 3;

/// The answer that the dialog's controls give: whether "Yes" is chosen, the text of the e-mail
/// field and whether the user wants no more reminders. The address does not depend on the answer: a
/// user who declines may leave one.
ConsentAnswer MakeAnswer(bool participates, const std::wstring& emailText, bool silenced);

/// The address to keep of what was typed: all of it, blanks included, if it has an at-sign and its
/// last dot stands after the first at-sign; else the empty text. Nothing else is asked of it.
std::wstring FilterEmail(const std::wstring& typed);

/// Whether a dialog that opens with the stored `state` has "Yes" chosen. Only a refusal, which is
/// also what counts when nothing is stored, has not.
constexpr bool PreselectsParticipation(int state) {
  return state != 2;
}
