// The modeless activity window: watches one engine through its events and shows, on five
// tabs, its status, the resolved descriptors and characteristics, the current tag values
// and the conditions with their results. It only reads the engine and the configuration.
#pragma once

#include <QString>
#include <QWidget>
#include <memory>
#include <vector>

#include "config/Configuration1.h"
#include "engine/Engine1.h"
#include "host/Components.h"
#include "runtime/Event.h"

class QTreeWidget;
class QTreeWidgetItem;

namespace Ui {
class frmActivity;
}

namespace ui {

class frmActivity : public QWidget {
 public:
  // `components` outlives the window.
  explicit frmActivity(host::Components& components, QWidget* parent = nullptr);
  ~frmActivity() override;

  void SetConfiguration(std::shared_ptr<config::Configuration1> configuration);
  // Receives the events of `engine` (none: the lists stay empty); the engine outlives the
  // window or is never handed over. A running engine's status is shown at once, and so are
  // the other lists when the engine has read the historian since the configuration was
  // loaded; a stopped engine shows nothing until its next event.
  void SetEngine(engine::Engine1* engine);
  // Shows the tab with the key `key` ("GENERAL", "DESCRIPTORS", "TESTS", "TAGITEMS",
  // "CONDITIONS") and its list.
  void SelectTab(const QString& key);

 private:
  // The lists, as bits of a set.
  enum List : unsigned {
    kGeneral = 1,
    kDescriptors = 2,
    kTests = 4,
    kTagItems = 8,
    kConditions = 16
  };

  void showEvent(QShowEvent* event) override;
  void TabStrip1_Click();
  // Refreshes `lists` now, or once the window is shown again when it is not.
  void Refresh(unsigned lists);
  // Whether the configuration's tags hold values the engine read.
  bool HoldsResults() const;
  void RefreshGeneral();
  void RefreshDescriptors();
  void RefreshTests();
  void RefreshTagItems();
  void RefreshConditions();
  // Runs a refresh under the window's error display.
  template <typename Body>
  void Refreshing(const char* procedure, Body&& body);

  host::Components& components_;
  std::unique_ptr<Ui::frmActivity> ui_;
  std::shared_ptr<config::Configuration1> configuration_;
  engine::Engine1* engine_ = nullptr;
  std::vector<runtime::Subscription> subscriptions_;
  // The lists whose events came while the window was not shown.
  unsigned missed_ = 0;
};

}  // namespace ui
