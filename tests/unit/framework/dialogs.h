// The numbers of the tests' dialogs and their controls, also for resource scripts.
#pragma once

/// With OK, Cancel and more; in the program only.
#define IDD_FULL 2001
/// Without any control.
#define IDD_EMPTY 2002
/// In the program and, with another caption, in the localized texts.
#define IDD_LOCALIZED 2003
/// Nowhere.
#define IDD_MISSING 2004

#define IDC_NAME 3001
#define IDC_NOTE 3002
#define IDC_BUTTON 3003
/// A control that no dialog has.
#define IDC_MISSING 3004
