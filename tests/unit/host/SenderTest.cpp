#include <gtest/gtest.h>

#include "platform/WindowsHeader.h"
#include "samples/host/PeltoHost.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"

namespace {

void End(const pelto::Handle& process) {
  EXPECT_NE(TerminateProcess(process.get(), 0), 0);
  EXPECT_EQ(WaitForSingleObject(process.get(), 10'000), WAIT_OBJECT_0);
}

TEST(Sender, OpensNoSecondDialogBesideAnother) {
  const TempFolder folder;
  const std::wstring report = folder / L"PeltoReport.xml";
  WriteBytes(report, "");
  // The dialog waits for the report, without a window.
  const FileHolder holder(L"unshared", report);
  pelto::Sender sender{ProgramFolder() + L"\\..\\PELTOSender.exe", folder.Path().wstring(), L""};
  sender.ShowSettings();
  const pelto::Handle first = sender.dialog;
  ASSERT_TRUE(first);
  sender.ShowSettings();
  EXPECT_EQ(sender.dialog, first);

  End(first);
  sender.ShowSettings();
  EXPECT_NE(sender.dialog, first);
  End(sender.dialog);
}

TEST(Sender, IsQuietWithoutAProgram) {
  const TempFolder folder;
  pelto::Sender sender{folder / L"missing.exe", folder.Path().wstring(), folder / L"Logs"};
  sender.ShowSettings();
  EXPECT_FALSE(sender.dialog);
  sender.CountAndSend(L"http://127.0.0.1/", L"", L"");
}

}  // namespace
