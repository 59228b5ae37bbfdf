// The numbers of the tests' dialogs and their controls, for the resource script too.
#pragma once

/// With OK, Cancel and more; stands in the program only.
#define IDD_FULL 2001
/// Without any control.
#define IDD_EMPTY 2002
/// Stands in the program and, with another caption, in the localized texts.
#define IDD_LOCALIZED 2003
/// Stands nowhere.
#define IDD_MISSING 2004

#define IDC_NAME 3001
#define IDC_NOTE 3002
#define IDC_BUTTON 3003
/// A control that no dialog has.
#define IDC_MISSING 3004
