// The focus helper of the dialogs' text boxes: a box that takes the focus, or whose label's
// accelerator is pressed, has its whole text selected, so typing replaces it.
#pragma once

class QLineEdit;

namespace ui {

// Call once the form's labels have their buddies.
void SelectTextOnFocus(QLineEdit& box);

}  // namespace ui
