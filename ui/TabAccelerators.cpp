#include "ui/TabAccelerators.h"

#include <QShortcutEvent>
#include <QTabBar>
#include <QTabWidget>

namespace ui {
namespace {

class TabAcceleratorFilter : public QObject {
 public:
  explicit TabAcceleratorFilter(QTabWidget& tabs) : QObject(&tabs), tabs_(tabs) {}

  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() != QEvent::Shortcut) return false;
    const QKeySequence key = static_cast<QShortcutEvent*>(event)->key();
    for (int i = 0; i < tabs_.count(); ++i) {
      if (!tabs_.isTabEnabled(i) || QKeySequence::mnemonic(tabs_.tabText(i)) != key) continue;
      tabs_.setCurrentIndex(i);
      QWidget* page = tabs_.widget(i);
      for (QWidget* next = page->nextInFocusChain(); next != page;
           next = next->nextInFocusChain()) {
        if (page->isAncestorOf(next) && next->isEnabled() && next->isVisible() &&
            (next->focusPolicy() & Qt::TabFocus)) {
          next->setFocus(Qt::ShortcutFocusReason);
          break;
        }
      }
      return true;
    }
    return false;
  }

 private:
  QTabWidget& tabs_;
};

}  // namespace

void FocusPageOnTabAccelerator(QTabWidget& tabs) {
  tabs.tabBar()->installEventFilter(new TabAcceleratorFilter(tabs));
}

}  // namespace ui
