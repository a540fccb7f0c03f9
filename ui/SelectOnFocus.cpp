#include "ui/SelectOnFocus.h"

#include <QEvent>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>

namespace ui {
namespace {

class FocusSelector : public QObject {
 public:
  explicit FocusSelector(QLineEdit& box) : QObject(&box), box_(box) {}

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (watched == &box_ && event->type() == QEvent::FocusIn) {
      // After the click that gave the focus has placed the cursor.
      QTimer::singleShot(0, &box_, &QLineEdit::selectAll);
    }
    // The label's accelerator gives no focus to a box that has it already.
    if (watched != &box_ && event->type() == QEvent::Shortcut) box_.selectAll();
    return false;
  }

 private:
  QLineEdit& box_;
};

}  // namespace

void SelectTextOnFocus(QLineEdit& box) {
  auto* selector = new FocusSelector(box);
  box.installEventFilter(selector);
  for (QLabel* label : box.window()->findChildren<QLabel*>()) {
    if (label->buddy() == &box) label->installEventFilter(selector);
  }
}

}  // namespace ui
