// The ids of the dialogs, their controls, strings and pictures. The resource script reads this file too, so it has
// plain definitions and no include. Ids that only the resource script uses (pictures, frames, labels, the last keys of
// a row) are here so that no control is a bare number.
#ifndef TELVO_PIN_DIALOG_IDS_H
#define TELVO_PIN_DIALOG_IDS_H

// Dialog templates.
#define IDD_CHANGE_PWD 104
#define IDD_LOGIN_KEYBOARD 106
#define IDD_LOGIN 119
#define IDD_SELECT_CARD 124
#define IDD_CHANGE_PIN 125

// Pictures.
#define IDB_LOGO 102
#define IDI_PROVIDER 112

// Strings (resources/StringTable.inc has them all): those that the sources load.
#define IDS_PROVIDER_NAME 104
#define IDS_INCORRECT_PIN 106
#define IDS_PIN_LOCKED 107
#define IDS_PLEASE_ENTER_PIN 108
#define IDS_PLEASE_ENTER_CURRENT_PIN 109
#define IDS_NEW_PIN_DOES_NOT_MATCH 110
#define IDS_PLEASE_VERIFY_NEW_PIN 111
#define IDS_PLEASE_ENTER_NEW_PIN 112
#define IDS_INCORRECT_CURRENT_PIN 113
#define IDS_VERY_WEAK 115
#define IDS_WEAK 116
#define IDS_GOOD 117
#define IDS_STRONG 118
#define IDS_VERY_STRONG 119

// Both login dialogs. In IDD_LOGIN_KEYBOARD the edit has no password style, as the PIN can be revealed there: the
// window's text is asterisks until then.
#define IDC_LOGIN 1001     // button
#define IDC_PIN_EDIT 1002  // edit

// CLoginEX.
#define IDC_CANCEL 1087        // button
#define IDC_LOGO 1088          // static, bitmap
#define IDC_FRAME 1089         // group box
#define IDC_PIN_LABEL 1091     // static
#define IDC_LOGIN_STATUS 1092  // static

// CSelectCard. OK and Cancel are IDOK and IDCANCEL.
#define IDC_READERS 1094       // drop-down list, sorted
#define IDC_SELECT_LABEL 1095  // static

// CCLoginDlg.
#define IDC_KEYBOARD_CANCEL 1000     // button
#define IDC_SHOW_KEYBOARD 1003       // check box
#define IDC_CHANGE_AFTER_LOGIN 1005  // check box
#define IDC_REVEAL_PIN 1006          // check box
#define IDC_CHANGE_PIN 1007          // button
#define IDC_KEYBOARD_STATUS 1065     // static
#define IDC_KEYBOARD_LABEL 1080      // static
#define IDC_KEYBOARD_LOGO 1083       // static, bitmap
#define IDC_KEYBOARD_FRAME 1084      // group box

// CChangePINDlg. OK and Cancel are IDOK and IDCANCEL; the edits have no password style either.
#define IDC_CHANGE_LOGO 1066           // static, bitmap
#define IDC_CLEAR_PINS 1067            // button
#define IDC_CURRENT_PIN 1068           // edit
#define IDC_NEW_PIN 1069               // edit
#define IDC_SHOW_CHANGE_KEYBOARD 1070  // check box
#define IDC_REPEATED_PIN 1071          // edit
#define IDC_REVEAL_PINS 1072           // check box
#define IDC_CURRENT_PIN_LABEL 1073     // static
#define IDC_NEW_PIN_LABEL 1074         // static
#define IDC_REPEATED_PIN_LABEL 1075    // static
#define IDC_CHANGE_STATUS 1076         // static
#define IDC_STRENGTH_BAR 1077          // progress bar
#define IDC_STRENGTH_LABEL 1078        // static
#define IDC_STRENGTH_WORD 1079         // static
#define IDC_CHANGE_FRAME 1080          // group box
// A layout may have these controls and IDC_SHOW_KEYBOARD; they stay hidden.
#define IDC_CHANGE_HIDDEN_FIRST 1081
#define IDC_CHANGE_HIDDEN_LAST 1086

// CChangePwdDlg. Frame and Close are IDC_FRAME and IDC_CANCEL.
#define IDC_NEW_PWD 1003             // edit
#define IDC_REPEATED_PWD 1004        // edit
#define IDC_CURRENT_PWD_LABEL 1091   // static
#define IDC_NEW_PWD_LABEL 1093       // static
#define IDC_REPEATED_PWD_LABEL 1094  // static
#define IDC_CHANGE_PWD 1105          // button
#define IDC_CURRENT_PWD 1106         // edit

// The on-screen keyboard: push buttons. Caps and Shift are check boxes that look like push buttons.
#define IDC_KEY_BACKQUOTE 1010
// 1, 2 ... 9 and 0 of the digit row: 1011 to 1019 and 1020.
#define IDC_KEY_DIGIT_1 1011
#define IDC_KEY_DIGIT_9 1019
#define IDC_KEY_DIGIT_0 1020
#define IDC_KEY_MINUS 1021
#define IDC_KEY_EQUALS 1022
#define IDC_KEY_BACKSPACE 1023
// q w e r t y u i o p: 1024 to 1033.
#define IDC_KEY_Q 1024
#define IDC_KEY_P 1033
#define IDC_KEY_LEFT_BRACKET 1034
#define IDC_KEY_RIGHT_BRACKET 1035
#define IDC_KEY_BACKSLASH 1036
#define IDC_KEY_DELETE 1037
#define IDC_KEY_CAPS 1038
// a s d f g h j k l: 1039 to 1047.
#define IDC_KEY_A 1039
#define IDC_KEY_L 1047
#define IDC_KEY_SEMICOLON 1048
#define IDC_KEY_QUOTE 1049
#define IDC_KEY_HOME 1050
// z x c v b n m: 1052 to 1058.
#define IDC_KEY_Z 1052
#define IDC_KEY_M 1058
#define IDC_KEY_COMMA 1059
#define IDC_KEY_PERIOD 1060
#define IDC_KEY_SLASH 1061
#define IDC_KEY_END 1062
#define IDC_KEY_SPACE 1063
#define IDC_KEY_SHIFT 1064

#endif
