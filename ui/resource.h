// The numbers of the dialog's resources and controls, also for resource scripts. A localized
// resource module uses the same numbers.
#pragma once

#define IDD_PELTO 101
#define IDS_PRIVACY_POLICY 102
#define IDI_PELTO 103
#define IDR_BACKGROUND 109

#define IDC_PARTICIPATE 1001
#define IDC_DECLINE 1002
#define IDC_PRIVACY_POLICY 1003
#define IDC_EMAIL 1004
#define IDC_TITLE 1005
#define IDC_REMIND_LATER 1008
#define IDC_SILENCE 1009
