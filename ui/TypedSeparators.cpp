#include "ui/TypedSeparators.h"

#include <QDateTimeEdit>
#include <QEvent>
#include <QKeyEvent>

namespace ui {
namespace {

bool IsModifier(int key) {
  switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Meta:
    case Qt::Key_CapsLock:
      return true;
    default:
      return false;
  }
}

class SeparatorFilter : public QObject {
 public:
  using QObject::QObject;

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::FocusOut) digitIn_ = -1;
    if (event->type() != QEvent::KeyPress) return false;
    const auto* key = static_cast<QKeyEvent*>(event);
    // Shift, as for ':', is a key press of its own that types nothing.
    if (IsModifier(key->key())) return false;
    const QString typed = key->text();
    const int section = static_cast<QDateTimeEdit*>(watched)->currentSectionIndex();
    const bool single = typed.size() == 1;
    // The last digit moved the box on to the next section: this separator is passed.
    const bool passed = single && digitIn_ >= 0 && section != digitIn_ && typed[0].isPrint() &&
                        !typed[0].isLetterOrNumber();
    digitIn_ = single && typed[0].isDigit() ? section : -1;
    return passed;
  }

 private:
  int digitIn_ = -1;  // the section the last key typed a digit into
};

}  // namespace

void AcceptTypedSeparators(QDateTimeEdit& box) {
  box.installEventFilter(new SeparatorFilter(&box));
}

}  // namespace ui
