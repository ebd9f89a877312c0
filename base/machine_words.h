#pragma once

// What sentences call the machine that the program runs on, and the place of its icon there.
// Literals, so that they join those around them: u"This " COMPUTER_EN u" was removed". The Chinese
// name of the machine brings the spaces that a Latin word has in the midst of a sentence.

#ifdef __APPLE__
#define COMPUTER_EN u"Mac"
#define COMPUTER_KIND_EN u"Mac"
#define COMPUTER_ZH u" Mac "
#define TRAY_EN u"menu bar"
#define TRAY_ZH u"菜单栏"
#else
#define COMPUTER_EN u"computer"
#define COMPUTER_KIND_EN u"Computer"
#define COMPUTER_ZH u"电脑"
#define TRAY_EN u"system tray"
#define TRAY_ZH u"系统托盘"
#endif
