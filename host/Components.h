// Everything the module gets from its host: the global host objects (created on first use
// and kept), factories for the objects it creates, and the plain message box and beep.
// The host hands one Components to the module; tests hand in fakes.
#pragma once

#include <memory>
#include <string>

#include "host/Connection.h"
#include "host/DataLinkDialog.h"
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

  virtual HostDateMath& DateMath() = 0;
  virtual HostComparer& Comparer() = 0;
  virtual HostTextExpander& TextExpander() = 0;
  virtual HostTextCodec& TextCodec() = 0;
  virtual HostFileSystem& FileSystem() = 0;

  virtual std::unique_ptr<Connection> CreateConnection() = 0;
  virtual std::unique_ptr<HostTimer> CreateTimer() = 0;
  virtual std::unique_ptr<HostError> CreateError() = 0;
  // The settings file at `path`; a missing file reads as empty.
  virtual std::unique_ptr<SettingsFile> OpenSettingsFile(const std::string& path) = 0;
  virtual std::shared_ptr<DatabaseSession> CreateDatabaseSession() = 0;
  virtual std::unique_ptr<HostRecord> CreateRecord(RecordKind kind) = 0;
  virtual std::unique_ptr<HostSubgroup> CreateSubgroup() = 0;
  virtual std::unique_ptr<SelectionDialog> CreateSelectionDialog(SelectionKind kind) = 0;
  virtual std::unique_ptr<DataLinkDialog> CreateDataLinkDialog() = 0;

  // A plain message box with the default button and title.
  virtual void MessageBox(const std::string& text) = 0;
  virtual void Beep() = 0;
};

}  // namespace host
