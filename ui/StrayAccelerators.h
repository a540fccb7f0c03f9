// An Alt+key that no enabled accelerator of a form takes does nothing. Without this, the
// accelerator of a disabled control (or of a hidden tab) would reach the focused control as
// a plain key: a text box types its letter, a list or combo box jumps to a row.
#pragma once

class QWidget;

namespace ui {

// For every control `form` holds now.
void IgnoreStrayAccelerators(QWidget& form);

}  // namespace ui
