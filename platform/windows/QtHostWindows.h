// The host's windows made with Qt Widgets, for a program with a QApplication: it installs
// them for the application's life (InstallHostWindows).
#pragma once

#include "platform/components/HostWindows.h"

namespace platform {

class QtHostWindows : public HostWindows {
 public:
  // Owned by the active window, where there is one.
  std::unique_ptr<host::SelectionDialog> CreateSelectionDialog(host::SelectionKind kind) override;
  std::unique_ptr<host::DataLinkDialog> CreateDataLinkDialog() override;
  void MessageBox(const std::string& text) override;
  void ShowError(const std::string& title, const std::string& text) override;
  void Beep() override;
};

}  // namespace platform
