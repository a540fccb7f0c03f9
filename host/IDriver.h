// The interface through which a host drives a data acquisition driver (IDriver), and the
// host objects the driver talks back to: its parent (DriverParent), the same parent as the
// driver's notification interface (HostNotify), and the host's SPC database behind it
// (ApplicationDatabase).
//
// A host makes a driver with the class factory of the driver's module (ClassFactory.h),
// handing it the host components the driver is to use, and calls it in this order:
//   Initialize(parent, name) -> Load(text)
//   -> any of StartDriver, StopDriver, PauseDriver, ShowSetup, ShowActivity, ShowAbout,
//      State, GetConfiguration (after ConfigurationChanged)
//   -> QueryUnload -> Unload -> release.
//
// Booleans that cross this interface are Bool16: true is -1 (kTrue), false 0; test them for
// non-zero, never against 1. A member that returns Bool16 or a text fails by showing the
// error through the host's error display (Components::CreateError) and returning false or
// the empty text, never by raising; ShowAbout alone raises its failure to the host.
//
// Ownership: the host holds the driver (shared), and the components it was made with
// outlive it. The driver holds its parent from Initialize (or SetParent) until Unload.
//
// Threads: a driver is single-threaded. It is made, called and released on one thread,
// which runs an event loop; its timer and its windows raise their events there, and so
// do its calls of HostNotify. A host may run many drivers, each on a thread of its own
// (windows only on the thread that runs them), but never calls one driver from two.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/Bool16.h"
#include "runtime/Variant.h"

namespace host {

class DatabaseSession;
class IDriver;

// The host application's database.
class ApplicationDatabase {
 public:
  virtual ~ApplicationDatabase() = default;
  // The host's own session on the SPC database: the driver opens a session of its own on
  // the same connection.
  virtual std::shared_ptr<DatabaseSession> Session() = 0;
};

// The host object that owns a driver (its Data Acquisition Manager).
class DriverParent {
 public:
  virtual ~DriverParent() = default;
  virtual std::shared_ptr<ApplicationDatabase> Database() = 0;
};

// The same parent seen through its notification interface. Both are called on the driver's
// thread, from within the driver's call or event that caused them.
class HostNotify {
 public:
  virtual ~HostNotify() = default;
  // The driver's state changed; the host reads State().
  virtual void StateChanged(IDriver& driver) = 0;
  // The user confirmed new settings in the configuration dialog; the host calls
  // GetConfiguration to keep them.
  virtual void ConfigurationChanged(IDriver& driver) = 0;
};

class IDriver {
 public:
  virtual ~IDriver() = default;

  // The parent given to Initialize or SetParent; none after Unload.
  virtual std::shared_ptr<DriverParent> Parent() = 0;
  virtual void SetParent(std::shared_ptr<DriverParent> parent) = 0;
  // Keeps `parent`, which must also be a HostNotify; makes the configuration, named `name`;
  // opens the driver's own SPC database session on the connection of the parent's session.
  // False when any of it fails.
  virtual Bool16 Initialize(std::shared_ptr<DriverParent> parent, const std::string& name) = 0;
  // Shows the about box, modally, owned by the host's main window. Raises its failure.
  virtual void ShowAbout() = 0;
  // Opens the configuration dialog on a copy of the configuration; the state is
  // kDriverConfiguring (host/DriverState.h) while it is open. Modal: true when the user
  // confirmed, after the driver took the edited configuration and called
  // ConfigurationChanged. Modeless: false at once; the outcome comes as those calls. Refused
  // with a message box while the driver runs, and only brought to the front while a dialog
  // is open: false.
  virtual Bool16 ShowSetup(Bool16 modal) = 0;
  // Shows the activity window, modeless. A window first shown before the first StartDriver
  // never follows the engine.
  virtual Bool16 ShowActivity() = 0;
  // Replaces the whole configuration with the text `data` holds: its first line, up to the
  // first CR LF, is the configuration text encoded by Components::TextCodec with the key
  // kConfigurationCodecKey (one line, whatever the text); further lines are ignored. Tests
  // the configuration's data link. False when `data` is empty, or at a line the reader
  // stops at; what was read before that line stays.
  virtual Bool16 Load(const runtime::Variant& data) = 0;
  // The configuration text, encoded as Load takes it; "" on failure.
  virtual std::string GetConfiguration() = 0;
  // The configuration's name: Initialize's, until a Load or a confirmed setup changes it.
  virtual std::string Name() = 0;
  // The module's product name.
  virtual std::string ProductName() = 0;
  // Starts collecting on the configuration's schedule; false, and nothing started, for an
  // inactive configuration. The state becomes kDriverRunning once collection has started,
  // through StateChanged.
  virtual Bool16 StartDriver() = 0;
  // Stops collecting; false when it was not collecting, the state then left alone.
  virtual Bool16 StopDriver() = 0;
  // Reports kDriverPaused; collection goes on. False when the state was that already.
  virtual Bool16 PauseDriver() = 0;
  // A code of host/DriverState.h.
  virtual int32_t State() = 0;
  // Closes the driver's windows before the host unloads it. Sets `cancel` to kTrue (and
  // beeps) when a window refuses to close, and leaves it as it was otherwise, so that a
  // host may pass one flag through all of its drivers and unload none if it comes back
  // true. `mode` says why the host unloads (0: the host closes); the driver does not read it.
  virtual void QueryUnload(Bool16& cancel, int32_t mode) = 0;
  // Lets go of the parent and of the configuration dialog. It neither stops collecting nor
  // closes the activity window: the host stops the driver and asks QueryUnload first.
  virtual void Unload() = 0;
  // Named properties: there are none. Get gives Empty; let and set change nothing.
  virtual runtime::Variant Property(const runtime::Variant& name) = 0;
  virtual void LetProperty(const runtime::Variant& name, const runtime::Variant& value) = 0;
  virtual void SetProperty(const runtime::Variant& name, std::shared_ptr<void> object) = 0;
};

}  // namespace host
