// The focus helper of the dialogs' text boxes: a box that takes the focus has its whole
// text selected, so typing replaces it.
#pragma once

class QLineEdit;

namespace ui {

void SelectTextOnFocus(QLineEdit& box);

}  // namespace ui
