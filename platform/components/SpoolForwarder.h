// Forwards what the host's spool holds on a thread of its own, started once the spool holds
// something or was found locked at the start, so that collection goes on at its pace while the SPC
// database is slow to answer or keeps a lock. While the spool holds subgroups a Qt timer in that
// thread checks every second; a save that kept a subgroup wakes it at once; the spool's back-off
// decides whether to try (1 s doubling to 60 s while the database stays away). It uses a session of
// its own on the database the host's sessions last opened.
#pragma once

#include <QObject>
#include <QThread>
#include <QTimer>
#include <memory>
#include <mutex>
#include <stop_token>

#include "platform/odbc/OdbcPolicy.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSpool.h"

namespace platform {

class SpoolForwarder {
 public:
  SpoolForwarder(std::shared_ptr<SpcSpool> spool, bool strictTests, const OdbcPolicy& policy);
  // Waits for the batch a forward has under way: its database may still commit it. The
  // rest wait in the spool for the next start, so that a stop is not held up by a backlog.
  ~SpoolForwarder();
  SpoolForwarder(const SpoolForwarder&) = delete;
  SpoolForwarder& operator=(const SpoolForwarder&) = delete;

 private:
  // One round, in the forwarding thread.
  void Tick();
  void Forward();

  std::shared_ptr<SpcSpool> spool_;
  bool strictTests_;
  OdbcPolicy policy_;
  std::shared_ptr<SpcSession> session_;
  std::stop_source stopping_;
  QThread thread_;
  std::once_flag started_;
  // Lives in thread_: what runs there runs in its name.
  QObject worker_;
  std::unique_ptr<QTimer> timer_;
};

}  // namespace platform
