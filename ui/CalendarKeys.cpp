#include "ui/CalendarKeys.h"

#include <QApplication>
#include <QDateTimeEdit>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QStyle>
#include <QStyleOptionComboBox>

namespace ui {
namespace {

class CalendarKeyFilter : public QObject {
 public:
  using QObject::QObject;

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() != QEvent::KeyPress) return false;
    const auto* key = static_cast<QKeyEvent*>(event);
    const Qt::KeyboardModifiers modifiers = key->modifiers() & ~Qt::KeypadModifier;
    if (!(key->key() == Qt::Key_F4 && modifiers == Qt::NoModifier) &&
        !(key->key() == Qt::Key_Down && modifiers == Qt::AltModifier)) {
      return false;
    }
    // A press on the box's arrow is the only way in which Qt shows the calendar.
    auto* box = static_cast<QDateTimeEdit*>(watched);
    QStyleOptionComboBox arrow;
    arrow.initFrom(box);
    arrow.editable = true;
    arrow.subControls = QStyle::SC_All;
    const QPoint at =
        box->style()
            ->subControlRect(QStyle::CC_ComboBox, &arrow, QStyle::SC_ComboBoxArrow, box)
            .center();
    QMouseEvent press(QEvent::MouseButtonPress, at, box->mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(box, &press);
    return true;
  }
};

}  // namespace

void OpenCalendarByKeyboard(QDateTimeEdit& box) {
  box.installEventFilter(new CalendarKeyFilter(&box));
}

}  // namespace ui
