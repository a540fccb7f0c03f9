// What the driver object needs of the windows, free of Qt so that the driver stays so:
// its activity window, its configuration dialog and its about box. Both need a session with windows
// (a QApplication); without one they raise error 5 saying so.
#pragma once

#include <memory>
#include <string>

#include "config/Configuration1.h"
#include "engine/Engine1.h"
#include "host/Components.h"
#include "runtime/Event.h"

namespace ui {

class frmActivity;
class frmConfigure;

// Owns one activity window.
class ActivityWindow {
 public:
  // `components` outlives the window.
  explicit ActivityWindow(host::Components& components);
  ~ActivityWindow();
  ActivityWindow(const ActivityWindow&) = delete;
  ActivityWindow& operator=(const ActivityWindow&) = delete;

  void SetConfiguration(std::shared_ptr<config::Configuration1> configuration);
  // `engine` outlives this object, or is nullptr.
  void SetEngine(engine::Engine1* engine);
  // Modeless, without an owner.
  void Show();
  bool IsLoaded() const;
  void Unload();

 private:
  std::unique_ptr<frmActivity> form_;
};

// Owns one configuration dialog, which edits a configuration of its own.
class SetupWindow {
 public:
  // `components` outlives the window.
  explicit SetupWindow(host::Components& components);
  ~SetupWindow();
  SetupWindow(const SetupWindow&) = delete;
  SetupWindow& operator=(const SetupWindow&) = delete;

  config::Configuration1& Configuration() const;
  // Raised by OK with the edited configuration; a handler that sets the flag keeps the
  // dialog open.
  runtime::Event<config::Configuration1&, bool&>& SetupUpdate();
  // Raised by Cancel, Escape and the close box.
  runtime::Event<>& SetupAborted();
  // Returns when the dialog closes: true when it closed by OK.
  bool ShowModal();
  // Without an owner.
  void ShowModeless();
  void BringToFront();
  bool IsLoaded() const;
  // Closes it as the close box does: the dialog may refuse.
  void Unload();

 private:
  std::unique_ptr<frmConfigure> form_;
};

// The about box with the product name, its version and the module's file, owned by the
// host's main window when it has one; returns when the user closes it.
void ShowAboutBox(const std::string& productName, const std::string& version);

// The file the code of this library was loaded from: the driver module in a host.
std::string ModuleFilePath();

}  // namespace ui
