#include "ui/SelectOnFocus.h"

#include <QEvent>
#include <QLineEdit>
#include <QTimer>

namespace ui {
namespace {

class FocusSelector : public QObject {
 public:
  using QObject::QObject;

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::FocusIn) {
      // After the click that gave the focus has placed the cursor.
      QTimer::singleShot(0, static_cast<QLineEdit*>(watched), &QLineEdit::selectAll);
    }
    return false;
  }
};

}  // namespace

void SelectTextOnFocus(QLineEdit& box) {
  box.installEventFilter(new FocusSelector(&box));
}

}  // namespace ui
