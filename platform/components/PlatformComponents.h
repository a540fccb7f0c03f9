// host::Components on this platform: ODBC data access, the SPC database over ODBC, Qt
// timers, the utility services and the console error display. The dialogs, message boxes
// and error boxes are the host's windows where the program installed them (HostWindows.h).
//
// Every connection made here, the SPC database's included, follows the host settings in
// dam.ini (settings folder), read when the connection or session is created:
//   [Security]    AllowDriverPaths=1  lets connection strings name driver files and keys
//                                     that load code (default 0: refused); ignored, with
//                                     a warning, when another user could have written
//                                     dam.ini (WhyOthersCouldChange)
//   [Connections] LoginTimeout=10     seconds a connect may take (0: the driver's own)
//                 QueryTimeout=30     seconds a statement may take, lock waits included
//                                     (0: no limit)
//                 PoolIdleSeconds=60  seconds a closed connection is kept for the next
//                                     open of the same string (0: not kept)
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "host/Components.h"
#include "platform/components/ConsoleError.h"
#include "platform/components/SpoolForwarder.h"
#include "platform/components/WatchedFileSystem.h"
#include "platform/components/WindowConnection.h"
#include "platform/odbc/OdbcPolicy.h"
#include "platform/spcdb/SpcSaveCount.h"
#include "platform/spcdb/SpcSpool.h"
#include "platform/utility/Comparer.h"
#include "platform/utility/DateMath.h"
#include "platform/utility/TextCodec.h"
#include "platform/utility/TextExpander.h"

namespace platform {

class PlatformComponents : public host::Components {
 public:
  host::HostDateMath& DateMath() override { return dateMath_; }
  host::HostComparer& Comparer() override { return comparer_; }
  host::HostTextExpander& TextExpander() override { return expander_; }
  host::HostTextCodec& TextCodec() override { return codec_; }
  // The driver's collection log lines are told through it (WatchedFileSystem).
  WatchedFileSystem& FileSystem() override { return fileSystem_; }

  std::unique_ptr<host::Connection> CreateConnection() override;
  // A WindowConnection: its statements give up on a locked SQLite historian in seconds, and
  // tell one its window's earlier statements waited for at once.
  std::unique_ptr<host::Connection> CreateWindowConnection() override;
  std::unique_ptr<host::HostTimer> CreateTimer() override;
  std::unique_ptr<host::HostError> CreateError() override;
  std::unique_ptr<host::SettingsFile> OpenSettingsFile(const std::string& path) override;
  std::shared_ptr<host::DatabaseSession> CreateDatabaseSession() override;
  std::unique_ptr<host::HostRecord> CreateRecord(host::RecordKind kind) override;
  std::unique_ptr<host::HostSubgroup> CreateSubgroup() override;
  std::unique_ptr<host::SelectionDialog> CreateSelectionDialog(host::SelectionKind kind) override;
  std::unique_ptr<host::DataLinkDialog> CreateDataLinkDialog() override;

  void MessageBox(const std::string& text) override;
  void Beep() override;

  // The name of the configuration these components serve: every session made from now on
  // stores it with the subgroups it saves. A host running one driver per set of components
  // passes the driver's name.
  void SetConfigurationName(std::string name) { configurationName_ = std::move(name); }

  // The subgroups saved by the sessions made here: this host's own, however many other
  // hosts write to the same database.
  const SpcSaveCount& Saves() const { return *saves_; }
  // The errors shown through the error displays made here.
  const ShownErrors& Shown() const { return *shownErrors_; }

  // The spool that every session made here keeps subgroups in while the SPC database is
  // away: spool.db in the data folder, bounded by "[Spool] MaxBytes" in dam.ini (default
  // 1 GB). Made on first use; from then on, with a Qt event loop running, a timer forwards
  // what it holds.
  SpcSpool& Spool();

  // What dam.ini allows the connections made here and how long they may wait: read once,
  // as a connection is made at every collection and dam.ini changes only with a restart.
  OdbcPolicy ReadOdbcPolicy();

  // A line of the host's own in the collection log, from any thread: `writer` fills the name
  // field, which says who wrote it. Not told as the driver's (CollectionLogLine).
  void WriteLogLine(const std::string& writer, const std::string& description,
                    const std::string& detail, const std::string& extended);

 private:
  std::string SettingsPath();
  std::shared_ptr<SpcSpool> MakeSpool();

  platform::DateMath dateMath_;
  platform::Comparer comparer_;
  platform::TextExpander expander_;
  platform::TextCodec codec_;
  WatchedFileSystem fileSystem_;
  std::string configurationName_;
  std::shared_ptr<SpcSaveCount> saves_ = std::make_shared<SpcSaveCount>();
  std::shared_ptr<ShownErrors> shownErrors_ = std::make_shared<ShownErrors>();
  std::shared_ptr<SpcSpool> spool_;
  std::unique_ptr<SpoolForwarder> forwarder_;

  bool SecuritySettingsTrusted(const std::string& key);
  std::atomic<bool> warnedUntrustedSettings_{false};
  std::once_flag policyRead_;
  OdbcPolicy policy_;
  WindowLocks windowLocks_;
};

}  // namespace platform
