// What the driver object needs of its windows, free of Qt so that the driver stays so: its
// activity window, its configuration dialog and its about box. They live in a library of
// their own beside the module (driver/WindowsLibrary.h), so that a host without windows
// runs the driver without Qt Widgets or a display's libraries. Every window needs a session
// with windows (a QApplication); without one it raises error 5 saying so.
#pragma once

#include <memory>
#include <string>

#include "config/Configuration1.h"
#include "engine/Engine1.h"
#include "host/Components.h"
#include "runtime/Event.h"

namespace ui {

// One activity window.
class ActivityWindow {
 public:
  virtual ~ActivityWindow() = default;
  virtual void SetConfiguration(std::shared_ptr<config::Configuration1> configuration) = 0;
  // `engine` outlives this object, or is nullptr.
  virtual void SetEngine(engine::Engine1* engine) = 0;
  // Modeless, without an owner.
  virtual void Show() = 0;
  virtual bool IsLoaded() const = 0;
  virtual void Unload() = 0;
};

// One configuration dialog, which edits a configuration of its own.
class SetupWindow {
 public:
  virtual ~SetupWindow() = default;
  virtual config::Configuration1& Configuration() const = 0;
  // Raised by OK with the edited configuration; a handler that sets the flag keeps the
  // dialog open.
  virtual runtime::Event<config::Configuration1&, bool&>& SetupUpdate() = 0;
  // Raised by Cancel, Escape and the close box.
  virtual runtime::Event<>& SetupAborted() = 0;
  // Returns when the dialog closes: true when it closed by OK.
  virtual bool ShowModal() = 0;
  // Without an owner.
  virtual void ShowModeless() = 0;
  virtual void BringToFront() = 0;
  virtual bool IsLoaded() const = 0;
  // Closes it as the close box does: the dialog may refuse.
  virtual void Unload() = 0;
};

class Windows {
 public:
  virtual ~Windows() = default;
  // `components` outlives the window.
  virtual std::unique_ptr<ActivityWindow> CreateActivityWindow(host::Components& components) = 0;
  virtual std::unique_ptr<SetupWindow> CreateSetupWindow(host::Components& components) = 0;
  // The about box with the product name, its version and the module's file, owned by the
  // host's main window when it has one; returns when the user closes it.
  virtual void ShowAboutBox(const std::string& productName, const std::string& version,
                            const std::string& moduleFile) = 0;
};

}  // namespace ui
