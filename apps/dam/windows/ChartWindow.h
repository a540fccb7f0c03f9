// The control chart window of `dam gui`: one characteristic of a configuration over the
// latest subgroups that configuration saved, the mean (or individuals) chart above the
// spread chart, with the limits and the rule breaks listed beside them. It reads the SPC
// database again whenever the configuration's host saved a subgroup.
#pragma once

#include <QWidget>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "config/Configuration1.h"
#include "platform/spcdb/SpcChart.h"
#include "platform/spcdb/SpcSaveCount.h"
#include "platform/spcdb/SpcSession.h"

namespace Ui {
class frmChart;
}

namespace dam {

class ChartWindow : public QWidget {
 public:
  // Charts the characteristics `configuration` names by fixed text (those named by a tag
  // are known only once collected), from the subgroups saved under the configuration name
  // of `session`, the session its driver saves through. `saves` counts what that host
  // saves; it and `configuration` outlive the window.
  ChartWindow(std::shared_ptr<platform::SpcSession> session, const platform::SpcSaveCount& saves,
              const config::Configuration1& configuration);
  ~ChartWindow() override;

  // Reads the chart again when a subgroup was saved since it last read it, or once it is
  // shown again when it is closed.
  void Refresh();
  // The configuration was set up anew: its characteristics are listed again, and the one
  // shown stays shown if it is still among them.
  void TestsChanged(const config::Configuration1& configuration);

 private:
  void showEvent(QShowEvent* event) override;
  void ListTests(const config::Configuration1& configuration);
  void Reload();
  void ShowChart(const QString& title);
  void cboTest_Change();
  void spnLast_Change();
  void txtRules_Change();
  void chkFreeze_Click();

  std::unique_ptr<Ui::frmChart> ui_;
  std::shared_ptr<platform::SpcSession> session_;
  const platform::SpcSaveCount& saves_;
  // Test group and test of each entry of cboTest.
  std::vector<std::pair<std::string, std::string>> tests_;
  int64_t readAtCount_ = 0;
  platform::SpcRules rules_ = platform::kDefaultRules;
  // Why the rules typed are not in force; empty while they are.
  QString rulesRefusal_;
  std::optional<platform::SpcChartBasis> frozen_;
  platform::SpcChart chart_{};
};

}  // namespace dam
