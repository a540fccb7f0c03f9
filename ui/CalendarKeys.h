// A date box's calendar opens from the keyboard with F4 or Alt+Down, as a drop-down list's
// does. Qt opens it only with the mouse, and Alt+Down would step the date instead.
#pragma once

class QDateTimeEdit;

namespace ui {

// For a box whose calendar pops up.
void OpenCalendarByKeyboard(QDateTimeEdit& box);

}  // namespace ui
