// Runs a modal dialog and operates it as a user does.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "framework/afxdialogex.h"

/// One action on the shown dialog, whose window is `window`.
using DialogStep = std::function<void(HWND window)>;

/// Runs `dialog` until it ends and returns its result. Once the dialog is visible, each step runs
/// on a tick of its own, after the messages that the previous step posted. The test fails when the
/// dialog ends before all steps have run. A dialog that does not end within 20 s also fails the
/// test and is ended; if that does not help, the test program is ended.
INT_PTR RunModalSteps(CDialogEx& dialog, std::vector<DialogStep> steps);

template <typename... Steps>
INT_PTR RunModal(CDialogEx& dialog, Steps... steps) {
  return RunModalSteps(dialog, {DialogStep(std::move(steps))...});
}

/// Runs `dialog` for its steps and then ends it without a click.
template <typename... Steps>
void ShowModal(CDialogEx& dialog, Steps... steps) {
  constexpr int Shown = 12345;
  EXPECT_EQ(RunModal(dialog, std::move(steps)..., [&dialog](HWND) { dialog.EndDialog(Shown); }),
            Shown);
}

/// Clicks the button `id` and returns when the click has been handled.
void Click(HWND window, int id);
/// Posts a keystroke to the control that has the focus or else to the dialog.
void PressKey(HWND window, WPARAM key);
/// The text of a window or control of this thread.
std::wstring GetText(HWND window);
/// The text of the control `id`.
std::wstring GetText(HWND window, int id);
