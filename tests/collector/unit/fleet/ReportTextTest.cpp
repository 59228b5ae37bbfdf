#include "collector/fleet/ReportText.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

TEST(ReportText, IsWhatASenderWritesToTheByte) {
  Report report;
  report.installation = "22c7f48c-bad7-430c-a9c2-cc811bf1761d";
  report.application = "Example Designer";
  report.version = "1.0.0.0";
  report.commands = {{"\"Bold\" Text", 3, 3}, {"Cut & <Paste>", 12, 1}, {"User's View", 26, 2}};
  report.file_types = {{".dwg", 2, 3}};
  report.machine = {{"Video Card", "AdapterRAM", "-1048576"}, {"OS", "Caption", "Windows 专业版"}};
  report.email = "user@example.com";
  EXPECT_EQ(format_report(report), R"(<PeltoRpt>
    <cmd_stat>
        <cmds>
            <cmd id="3" name='&quot;Bold&quot; Text' count="3" />
            <cmd id="1" name="Cut &amp; &lt;Paste&gt;" count="12" />
            <cmd id="2" name="User&apos;s View" count="26" />
        </cmds>
    </cmd_stat>
    <ftype_stat>
        <ftypes>
            <ftype name=".dwg" ocnt="2" scnt="3" />
        </ftypes>
    </ftype_stat>
    <sys_info>
        <prop name="AdapterRAM" cat="Video Card">-1048576</prop>
        <prop name="Caption" cat="OS">Windows 专业版</prop>
        <prop name="ID">22c7f48c-bad7-430c-a9c2-cc811bf1761d</prop>
    </sys_info>
    <app_info>
        <prop name="app_name">Example Designer</prop>
        <prop name="app_ver">1.0.0.0</prop>
    </app_info>
    <cust_info>
        <prop name="Email">user@example.com</prop>
    </cust_info>
</PeltoRpt>
)");
}

TEST(ReportText, HasEmptyElementsForWhatWasNotCountedAndNoneWithoutAnAddress) {
  Report report;
  report.installation = "22c7f48c-bad7-430c-a9c2-cc811bf1761d";
  report.application = "Example Designer";
  report.version = "1.0.0.0";
  EXPECT_EQ(format_report(report), R"(<PeltoRpt>
    <cmd_stat>
        <cmds />
    </cmd_stat>
    <ftype_stat>
        <ftypes />
    </ftype_stat>
    <sys_info>
        <prop name="ID">22c7f48c-bad7-430c-a9c2-cc811bf1761d</prop>
    </sys_info>
    <app_info>
        <prop name="app_name">Example Designer</prop>
        <prop name="app_ver">1.0.0.0</prop>
    </app_info>
</PeltoRpt>
)");
}

}  // namespace
}  // namespace pelto::collector
