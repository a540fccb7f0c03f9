#include "ui/StrayAccelerators.h"

#include <QEvent>
#include <QKeyEvent>
#include <QWidget>

namespace ui {
namespace {

class StrayAcceleratorFilter : public QObject {
 public:
  using QObject::QObject;

  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() != QEvent::KeyPress) return false;
    const auto* key = static_cast<QKeyEvent*>(event);
    // Ctrl+Alt is AltGr on some systems, which types text of its own.
    const Qt::KeyboardModifiers chord =
        key->modifiers() & (Qt::AltModifier | Qt::ControlModifier | Qt::MetaModifier);
    return chord == Qt::AltModifier && !key->text().isEmpty() && key->text()[0].isPrint();
  }
};

}  // namespace

void IgnoreStrayAccelerators(QWidget& form) {
  auto* filter = new StrayAcceleratorFilter(&form);
  for (QWidget* control : form.findChildren<QWidget*>()) {
    if (control->focusPolicy() != Qt::NoFocus) control->installEventFilter(filter);
  }
}

}  // namespace ui
