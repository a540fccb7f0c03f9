// The host's database session on an SQL SPC database reached over ODBC (SQLite or
// PostgreSQL). Open connects and creates or upgrades the schema. Records, subgroups and
// the readers reach the database through Use and Transact, which open the connection
// again after a failure, so a session survives a database that was away for a while.
// An SQLite file deleted or replaced at its path is opened again there before the next use.
// One session serves one thread at a time; sessions of one process on one SQLite file share
// their link (see SpcLinkSlot), each waiting for it as long as for the file's lock.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "host/DatabaseSession.h"
#include "platform/spcdb/SpcForwardTarget.h"
#include "platform/spcdb/SpcLink.h"
#include "platform/spcdb/SpcLinkSlot.h"
#include "platform/spcdb/SpcSaveCount.h"
#include "platform/spcdb/SpcSettings.h"
#include "platform/spcdb/SpcSpool.h"

namespace platform {

class SpcSession : public host::DatabaseSession, public SpcForwardTarget {
 public:
  SpcSession() = default;
  SpcSession(const SpcSession&) = delete;
  SpcSession& operator=(const SpcSession&) = delete;

  void Initialize(int32_t sessionNumber) override { sessionNumber_ = sessionNumber; }
  SpcSettings& Settings() override { return settings_; }
  // This database knows one way of opening: `mode` and `options` are not used. With a
  // spool, a database that cannot be reached now is no error: subgroups are kept until
  // it can.
  void Open(int32_t mode, int32_t options) override;

  // The number given to Initialize; saved with every subgroup of this session.
  int32_t SessionNumber() const { return sessionNumber_; }

  // The configuration whose driver saves through this session; stored with every subgroup
  // it saves. Empty: none is stored.
  void SetConfigurationName(std::string name) { configurationName_ = std::move(name); }
  const std::string& ConfigurationName() const { return configurationName_; }

  // For a session that reads at length and never writes: it keeps a connection of its own
  // even on an SQLite file. Readers there never wait for a writer, while one holding the
  // shared connection would hold every writer of the process up.
  void KeepOwnConnection() { ownConnection_ = true; }

  // Every subgroup this session saves from now on is counted in `saves` too.
  void CountSavesIn(std::shared_ptr<SpcSaveCount> saves);
  // Called once a subgroup is committed, or kept in the spool: for this host, it is saved.
  void Saved();

  // Subgroups this session cannot save for want of the database go to `spool`.
  void KeepIn(std::shared_ptr<SpcSpool> spool);
  // Null without one.
  SpcSpool* Spool() const { return spool_.get(); }

  // Runs `work`, which only reads, on the open connection. When `work` fails and the
  // connection no longer answers, the connection is dropped; if it was opened before this
  // call (the server may have restarted since), `work` runs once more on a new one. A
  // failure that left the connection unanswering is raised as a lost connection (SQLSTATE
  // 08S01), whatever the driver called it.
  void Use(const std::function<void(SpcLink&)>& work);
  // Runs `body` in one transaction, committed when it returns and rolled back when it
  // throws; the error is raised again. Repeated on a new connection like Use, but never
  // once the commit was sent: its outcome is then unknown. The sessions sharing a link
  // queue their bodies: one of them writes the queue in one transaction, each body undone
  // alone when it throws, while the others wait for the commit as for their own.
  void Transact(const std::function<void(SpcLink&)>& body);

  // What a spool forwards goes through Use and Transact, with this session's StrictTests.
  void Reach() override;
  std::vector<SpcWritten> Forward(std::span<const SpooledSubgroup> batch) override;

 private:
  using Held = std::unique_lock<std::recursive_timed_mutex>;
  // The session's slot, locked.
  Held Hold();
  // The link, connected when there is none; `held` moves to the shared slot when the new
  // link is the first of its SQLite file in this process.
  SpcLink& Link(Held& held);
  // Writes `batch` in one transaction; each write's failure is set, none is raised.
  void Write(const std::vector<SpcWrite*>& batch) noexcept;
  // After a failure: keeps the connection when it still answers (the failure was the
  // work's own), drops it otherwise. True when it was dropped.
  bool DropIfBroken();
  std::string SharingKey() const;

  SpcSettings settings_;
  int32_t sessionNumber_ = 0;
  std::string configurationName_;
  bool opened_ = false;
  bool ownConnection_ = false;
  std::shared_ptr<SpcLinkSlot> slot_ = std::make_shared<SpcLinkSlot>();
  std::shared_ptr<SpcSaveCount> saves_;
  std::shared_ptr<SpcSpool> spool_;
};

}  // namespace platform
