#include <gtest/gtest.h>

#include "tests/support/DialogDriver.h"
#include "tests/support/ReplacedImport.h"
#include "ui/PeltoDialog.h"
#include "ui/resource.h"

extern "C" void* __imp_WritePrivateProfileStringW;

namespace {

bool wasWritten = false;

BOOL WINAPI NoteWrite(LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR) {
  wasWritten = true;
  return TRUE;
}

bool IsChecked(HWND window, int id) {
  return SendMessageW(GetDlgItem(window, id), BM_GETCHECK, 0, 0) == BST_CHECKED;
}

class PeltoDialogWithoutSettings : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    class Program : public CWinApp {
      BOOL InitInstance() override { return FALSE; }
    };
    Program program;
    AfxWinMain(GetModuleHandleW(nullptr));
  }
  void SetUp() override { wasWritten = false; }
  void TearDown() override { EXPECT_FALSE(wasWritten); }

 private:
  ReplacedImport write_{__imp_WritePrivateProfileStringW, reinterpret_cast<void*>(&NoteWrite)};
};

TEST_F(PeltoDialogWithoutSettings, ShowsTheDefaultsAndStoresNothing) {
  PeltoDialog dialog(nullptr, 0, 0);
  EXPECT_EQ(RunModal(dialog,
                     [](HWND window) {
                       EXPECT_FALSE(IsChecked(window, IDC_PARTICIPATE));
                       EXPECT_TRUE(IsChecked(window, IDC_DECLINE));
                       EXPECT_FALSE(IsChecked(window, IDC_SILENCE));
                       EXPECT_EQ(GetWindowTextLengthW(GetDlgItem(window, IDC_EMAIL)), 0);
                       Click(window, IDC_PARTICIPATE);
                       Click(window, IDOK);
                     }),
            IDOK);
}

TEST_F(PeltoDialogWithoutSettings, RemindMeLaterStoresNothing) {
  PeltoDialog dialog(nullptr, 1, 1);
  EXPECT_EQ(RunModal(dialog, [](HWND window) { Click(window, IDC_REMIND_LATER); }), 0);
}

}  // namespace
