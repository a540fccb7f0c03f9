// Everything a driver module gets from its host: the host's global objects (date arithmetic,
// value comparison, text expansion, the text codec, the file system), factories for the host
// objects the module creates (connections, timers, error displays, settings files, SPC
// database sessions, records, subgroups, dialogs), and the plain message box and beep. The
// module reaches no platform service any other way, so tests hand in fakes
// (tests/support/FakeComponents.h) and a fault test wraps real ones, overriding only the
// call it fails (ComponentsWrapper.h).
//
// Ownership: the host owns its Components and keeps it alive as long as any driver made
// with it (ClassFactory::CreateInstance) and any object made from it. The first five
// members hand out references that live as long as the Components; what the factories
// create belongs to the caller, and database sessions are shared (the configuration, its
// dialog and the subgroups it saves use one session).
//
// Threads: a host gives each driver instance a Components of its own and uses it, and what
// it created, only from the thread that runs that instance's event loop; a Components need
// not be safe to share between threads. A timer raises OnTimer on the thread that created
// it. The dialogs, MessageBox, Beep and an error display that shows a box need the thread
// that runs the windows. Behind the objects, this platform shares a few services by the
// whole process, each safe from any thread: the ODBC connection pool (a closed connection
// may be handed to the next Open of the same connection string, from any instance), the
// folders (read once from the environment), the files in them (the collection log and the
// spool, written in whole lines and locked by the file), and the error display's record of
// the last error shown.
//
// Failure: a member that cannot do its work raises runtime::Error; a factory of an object
// this host does not have raises error 429 (kCannotCreateObject), as the dialogs do
// without windows. MessageBox and Beep never raise.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/Connection.h"
#include "host/DataLinkDialog.h"
#include "host/DataLinkTest.h"
#include "host/DatabaseSession.h"
#include "host/HostComparer.h"
#include "host/HostDateMath.h"
#include "host/HostError.h"
#include "host/HostFileSystem.h"
#include "host/HostRecord.h"
#include "host/HostSubgroup.h"
#include "host/HostTextCodec.h"
#include "host/HostTextExpander.h"
#include "host/HostTimer.h"
#include "host/SelectionDialog.h"
#include "host/SettingsFile.h"

namespace host {

class Components {
 public:
  virtual ~Components() = default;

  // Schedule arithmetic and serial times.
  virtual HostDateMath& DateMath() = 0;
  // The comparison that conditions use.
  virtual HostComparer& Comparer() = 0;
  // The expansion of a template before its tag references are resolved.
  virtual HostTextExpander& TextExpander() = 0;
  // The codec of the configuration text on its way to Load and back (kConfigurationCodecKey).
  virtual HostTextCodec& TextCodec() = 0;
  // The folders of the log, the settings, the table definitions and the data, and the
  // appending of lines to files there.
  virtual HostFileSystem& FileSystem() = 0;

  // A new, closed connection for a database reached by connection string (the historian).
  virtual std::unique_ptr<Connection> CreateConnection() = 0;
  // The same for statements a user waits for at a window (the tag list, the configuration
  // dialog's data link test), which a host may let give up on a locked database sooner than
  // a collection's. CreateConnection's by default.
  virtual std::unique_ptr<Connection> CreateWindowConnection();
  // A stopped timer, raising OnTimer on the thread that calls this.
  virtual std::unique_ptr<HostTimer> CreateTimer() = 0;
  // An error display; its Show never raises.
  virtual std::unique_ptr<HostError> CreateError() = 0;
  // The settings file at `path`; a missing file reads as empty, and writing creates it
  // readable by its owner only.
  virtual std::unique_ptr<SettingsFile> OpenSettingsFile(const std::string& path) = 0;
  // A new SPC database session, not yet initialised or opened.
  virtual std::shared_ptr<DatabaseSession> CreateDatabaseSession() = 0;
  // An empty record of `kind`, to be keyed and loaded from a session.
  virtual std::unique_ptr<HostRecord> CreateRecord(RecordKind kind) = 0;
  // An empty subgroup, to be filled and saved through a session.
  virtual std::unique_ptr<HostSubgroup> CreateSubgroup() = 0;
  // The modal dialog that picks a record of `kind` from the SPC database; needs windows.
  virtual std::unique_ptr<SelectionDialog> CreateSelectionDialog(SelectionKind kind) = 0;
  // The modal dialog that edits and tests a data link; needs windows.
  virtual std::unique_ptr<DataLinkDialog> CreateDataLinkDialog() = 0;

  // Shows `text` in a plain message box with the default button and title, and returns
  // when the user closed it.
  virtual void MessageBox(const std::string& text) = 0;
  virtual void Beep() = 0;

  // A test of `link` that the host already ran while starting this driver instance, for the
  // configuration's own test (Configuration1::TestDataLink) to take instead of testing
  // again: a start tests its link once, however often the host checks, reads and loads the
  // text. Nothing when the host has none, which is the default; the configuration then
  // tests the link itself.
  virtual std::optional<DataLinkTest> SharedDataLinkTest(const std::string& link);
};

}  // namespace host
