// Runs a modal dialog and does to it what a user would.
#pragma once

#include <functional>
#include <vector>

#include "framework/afxdialogex.h"

/// One thing that is done to the shown dialog; `window` is the dialog's.
using DialogStep = std::function<void(HWND window)>;

/// Runs `dialog` until it ends, and answers with its result. Once the dialog is visible, each step
/// runs on a tick of its own, so that what the step before it has posted is handled first. The test
/// fails when the dialog ends before every step ran. A dialog that has not ended after 20 s fails
/// the test too and is ended; the program is, when even that does not help.
INT_PTR RunModalSteps(CDialogEx& dialog, std::vector<DialogStep> steps);

template <typename... Steps>
INT_PTR RunModal(CDialogEx& dialog, Steps... steps) {
  return RunModalSteps(dialog, {DialogStep(std::move(steps))...});
}

/// Clicks the button `id`, and is back when the click has been handled.
void Click(HWND window, int id);
/// Puts a key's stroke into the queue, for the control that has the focus or else for the dialog.
void PressKey(HWND window, WPARAM key);
