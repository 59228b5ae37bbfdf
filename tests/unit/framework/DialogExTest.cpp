#include <gtest/gtest.h>

#include "framework/afxdialogex.h"
#include "tests/support/DialogDriver.h"
#include "tests/unit/framework/dialogs.h"

namespace {

TEST(DialogEx, AnswersWithWhatEndDialogGets) {
  CDialogEx dialog(IDD_FULL);
  EXPECT_EQ(RunModal(dialog, [&](HWND) { dialog.EndDialog(42); }), 42);
}

TEST(DialogEx, EndsWithOkWhenItsButtonIsClicked) {
  CDialogEx dialog(IDD_FULL);
  EXPECT_EQ(RunModal(dialog, [](HWND window) { Click(window, IDOK); }), IDOK);
}

TEST(DialogEx, EndsWithCancelOnEscape) {
  CDialogEx dialog(IDD_FULL);
  EXPECT_EQ(RunModal(dialog, [](HWND window) { PressKey(window, VK_ESCAPE); }), IDCANCEL);
}

}  // namespace
