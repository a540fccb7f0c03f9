// Alt with a tab's digit shows the tab and gives its first control the focus, as a letter
// reaches its control. The tab bar alone leaves the focus where it was: on itself when the
// dialog has just opened, so the keys that follow would switch tabs.
#pragma once

class QTabWidget;

namespace ui {

void FocusPageOnTabAccelerator(QTabWidget& tabs);

}  // namespace ui
