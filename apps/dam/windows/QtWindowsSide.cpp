#include "apps/dam/windows/QtWindowsSide.h"

#include <QApplication>

#include "apps/dam/windows/WindowsApplication.h"
#include "apps/dam/windows/WindowsCommands.h"
#include "platform/chartpicture/SpcChartPicture.h"

namespace dam {

int QtWindowsSide::Gui(const GuiOptions& options) {
  return GuiCommand(options);
}

int QtWindowsSide::Setup(const SetupOptions& options) {
  return SetupCommand(options);
}

int QtWindowsSide::SelectTag(const SelectTagOptions& options) {
  return SelectTagCommand(options);
}

void QtWindowsSide::WriteChartPicture(const platform::SpcChart& chart, const std::string& title,
                                      const std::string& file) {
  platform::WriteSpcChartPicture(chart, title, file);
}

std::unique_ptr<QCoreApplication> QtWindowsSide::MakeActivityApplication() {
  auto application = MakeWindowsApplication();
  QApplication::setQuitOnLastWindowClosed(false);
  return application;
}

}  // namespace dam
