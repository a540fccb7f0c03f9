// What of dam needs Qt Widgets or Qt's painting: dam gui, setup and select-tag, the picture
// of dam chart --out and the activity window of dam run --activity. It is built into the
// program dam-gui only, of the package of the same name, so that dam and its package run on
// a server without a display's libraries. dam hands such a command line to the dam-gui in
// its own folder, and only there; without one the command fails with exit status 7 and
// names the package.
#pragma once

#include <QCoreApplication>
#include <memory>
#include <string>
#include <vector>

#include "apps/dam/Commands.h"
#include "platform/spcdb/SpcChart.h"

namespace dam {

class WindowsSide {
 public:
  virtual ~WindowsSide() = default;
  virtual int Gui(const GuiOptions& options) = 0;
  virtual int Setup(const SetupOptions& options) = 0;
  virtual int SelectTag(const SelectTagOptions& options) = 0;
  // A .png or .svg file, without a display.
  virtual void WriteChartPicture(const platform::SpcChart& chart, const std::string& title,
                                 const std::string& file) = 0;
  // The application of a run with its activity window, which goes on when the window closes.
  virtual std::unique_ptr<QCoreApplication> MakeActivityApplication() = 0;
};

// Told once by Main: the arguments after the program's name, and the program's windows
// (nullptr in dam).
void SetProgramWindows(const std::vector<std::string>& args, WindowsSide* windows);

// The program's windows. dam instead runs dam-gui on the same arguments and does not
// return; without dam-gui it raises apps::Failure (kExitNoWindows) saying that `what` needs
// the package.
WindowsSide& RequireWindows(const std::string& what);

}  // namespace dam
