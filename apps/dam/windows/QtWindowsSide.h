// dam-gui's windows: the commands that are windows, the chart pictures and the activity
// window's application, made with Qt Widgets and Qt's painting.
#pragma once

#include "apps/dam/WindowsSide.h"

namespace dam {

class QtWindowsSide : public WindowsSide {
 public:
  int Gui(const GuiOptions& options) override;
  int Setup(const SetupOptions& options) override;
  int SelectTag(const SelectTagOptions& options) override;
  void WriteChartPicture(const platform::SpcChart& chart, const std::string& title,
                         const std::string& file) override;
  std::unique_ptr<QCoreApplication> MakeActivityApplication() override;
};

}  // namespace dam
