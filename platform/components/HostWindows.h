// What the host's components show in windows while the program runs with them (dam's windows
// program, with its QApplication): the SPC database's selection dialogs, the data link
// dialog, message boxes, error boxes and the beep. Without them installed the components
// work headless: the dialogs raise error 429, messages and errors go to stderr.
#pragma once

#include <memory>
#include <string>

#include "host/DataLinkDialog.h"
#include "host/SelectionDialog.h"

namespace platform {

class HostWindows {
 public:
  virtual ~HostWindows() = default;
  virtual std::unique_ptr<host::SelectionDialog> CreateSelectionDialog(
      host::SelectionKind kind) = 0;
  virtual std::unique_ptr<host::DataLinkDialog> CreateDataLinkDialog() = 0;
  // A plain box: no icon, the one default button, the application's name as its title.
  virtual void MessageBox(const std::string& text) = 0;
  virtual void ShowError(const std::string& title, const std::string& text) = 0;
  virtual void Beep() = 0;
};

// The windows of this process, or nullptr while it runs without. Safe from any thread.
HostWindows* InstalledHostWindows();
// `windows` (or nullptr: none) from now on; it outlives its installation.
void InstallHostWindows(HostWindows* windows);

}  // namespace platform
