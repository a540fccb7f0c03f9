// One driver instance as dam runs it, from the module to the unload: host components of its
// own, the driver module of its class, the host object (DamHost) with the host's session on
// the SPC database, the driver, and the host's own reading of the configuration text (for
// the status line, the chart and the tag browser). Every command that reads a configuration
// or runs a driver, and each row of the main window, goes through one, in this order:
//   OpenModule -> Read (the host's reading) -> Check -> Create -> Load -> ... -> Unload.
// A command takes only the steps it needs (config show reads; setup creates and loads).
//
// A step that fails raises, one way for every caller: what the reader, the module or the SPC
// database raised comes as it came (the SPC database's as an apps::Failure with exit status
// 4, as every command opens it), and a step the driver refuses is an apps::Failure with exit
// status 1 that says which.
//
// A start or a reload tests the configuration's data link once: the reading tests it, and the
// module's check and the driver's Load of the same text take that test
// (Components::SharedDataLinkTest) until the driver is loaded or DropLinkTest.
//
// A handle keeps nothing in the process: its components, its reference to the module, its
// host object and its driver are its own. It is made, used and destroyed on one thread, the
// one whose event loop runs its driver, so that several can run side by side, each on a
// thread of its own.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "apps/dam/host/CollectionTimer.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/DriverModule.h"
#include "config/Configuration1.h"
#include "host/CheckFinding.h"
#include "host/IDriver.h"
#include "platform/components/PlatformComponents.h"

namespace dam {

class DriverHandle {
 public:
  DriverHandle();
  // Unloads a driver that is still loaded; the driver goes before its module and its
  // components.
  ~DriverHandle();
  DriverHandle(const DriverHandle&) = delete;
  DriverHandle& operator=(const DriverHandle&) = delete;

  // The platform's components behind everything the handle makes: its saves, its spool, the
  // configuration name its sessions save under.
  platform::PlatformComponents& Components() { return platform_; }

  // Reads `text` into Reading() (Configuration1::SetData), which tests its data link. Raises
  // the reader's error, naming the line it stopped at; what was read before it stays.
  void Read(const std::string& text);
  config::Configuration1& Reading() { return reading_; }
  // Lets go of the reading's data link test when no Load follows (a reload that gave up),
  // so that a later test of the same link is a new one.
  void DropLinkTest();
  // For a handle whose user waits at a window for what its driver does outside a collection
  // (loading, a setup dialog's OK, the tag browser): from now on, every connection made here
  // outside a tick of the driver's timer is a window's (PlatformComponents::
  // CreateWindowConnection), which gives up on a locked historian in seconds; a collection's
  // keeps QueryTimeout.
  void SetUserWaits();
  // The reading's NAME, else the stem of `file`: the name a driver is initialised with.
  std::string NameFor(const std::string& file) const;

  // Loads the module registered, else installed, for `driverClass`.
  void OpenModule(const std::string& driverClass);
  // What the module's own reader would ignore, misread or stop at in `text`.
  std::vector<host::CheckFinding> Check(const std::string& text);
  // Opens the host's session on the SPC database `spc` names (SpcConnection), makes the
  // driver and initialises it as `name`, the name its sessions save subgroups under.
  void Create(const std::string& spc, const std::string& name);
  // Hands `text` to the driver, encoded as Load takes it.
  void Load(const std::string& text);

  // The driver, from Create to Unload.
  host::IDriver& Driver() { return *driver_; }
  DamHost& Host() { return *host_; }
  // When the driver collected last and plans to collect next, as its timer saw it.
  const CollectionTimes& Collections() const { return collections_; }
  // The driver's configuration text, decoded; an apps::Failure when the driver gives none.
  std::string Text();
  // Asks the driver to close its windows before it is unloaded; false when one refused,
  // and the driver stays as it is.
  bool QueryUnload();
  // Unloads the driver and lets it go, asking QueryUnload first if nobody did; a handle
  // without a driver does nothing.
  void Unload();

 private:
  class StartComponents;

  platform::PlatformComponents platform_;
  CollectionTimes collections_;
  std::unique_ptr<StartComponents> components_;
  config::Configuration1 reading_;
  std::string driverClass_;
  std::unique_ptr<DriverModule> module_;
  std::shared_ptr<DamHost> host_;
  std::shared_ptr<host::IDriver> driver_;
  bool unloadAsked_ = false;
};

}  // namespace dam
