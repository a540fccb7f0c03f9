// Store and forward for the SPC database. While the database cannot be reached, does not
// answer in time or refuses writes, a host's subgroups are kept in a local spool file and
// the save counts as done; they are forwarded oldest first once it takes them again, and a
// new subgroup waits behind them, so the database receives them in the order they were
// collected. Each subgroup carries a key made here and stored with it, so a forward whose
// commit was not acknowledged is never saved twice. A subgroup leaves the spool only after
// the database committed it. One spool serves every session of a host, on any thread.
//
// A spool that cannot keep a subgroup (full, or its file failing) does not hold collection
// up: a subgroup that would have waited behind the kept ones is saved directly, ahead of
// them, and only one that neither the database nor the spool takes is lost, logged and
// counted.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/spcdb/SpcForwardTarget.h"
#include "platform/spcdb/SpcSpoolFile.h"
#include "platform/spcdb/SpcSpoolLane.h"
#include "platform/spcdb/SpcSubgroupData.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"

namespace platform {

// A spool full ([Spool] MaxBytes) while the SPC database is away: the subgroup is not saved.
inline constexpr int32_t kSpcSpoolFull = -2147220989;

class SpcSpool {
 public:
  // Writes one collection log line: description, detail, extended.
  using LogLine = std::function<void(const std::string&, const std::string&, const std::string&)>;
  // Time since an arbitrary origin on a clock that nothing steps.
  using SteadyTime = std::function<std::chrono::nanoseconds()>;

  // The spool file at `path` (opened when there is something to keep, or at once when it
  // exists); `hostId` names this host in the keys; beyond `maxBytes` of subgroups nothing
  // more is kept; `now` times the forwards' back-off. A file there that is no spool (not
  // an SQLite database, or a damaged one) is moved aside to `path`.corrupt-TIME, logged,
  // and a new spool begins. One that others hold locked is logged and read at the first
  // save that finds it free.
  SpcSpool(std::string path, std::string hostId, int64_t maxBytes, LogLine log,
           SteadyTime now = runtime::Monotonic);
  SpcSpool(const SpcSpool&) = delete;
  SpcSpool& operator=(const SpcSpool&) = delete;

  // A key no other subgroup of this host has, for `subgroup`, which is saved directly or kept.
  std::string NewKey(const SpcSubgroupData& subgroup);

  // Keeps `subgroup` under `key`. `cause` is the database's failure that sent it here, none
  // when it only queues behind subgroups kept before. Fails with kSpcSpoolFull when the
  // spool has reached its bound, or with the file's own error; with a `cause`, the
  // subgroup is then lost: logged with its time and counted in Lost.
  void Keep(const SpcSubgroupData& subgroup, const std::string& key,
            const std::optional<runtime::Error>& cause);
  // A subgroup that could not queue behind the kept ones (`refusal`, Keep's failure) goes
  // to the database directly: logged once until the spool keeps again or is empty.
  void SaveAhead(const runtime::Error& refusal);

  // Subgroups held, refused ones included. Cheap: a status line may ask at any rate.
  int64_t Depth() const { return depth_.load(); }
  // Subgroups neither the database nor the spool took since this object was made.
  int64_t Lost() const { return lost_.load(); }
  // True while subgroups wait to be forwarded: a new one must queue behind them. Reads a
  // spool that was locked at the start.
  bool Holding();
  // Since a start that found the file locked, until Holding could read it.
  bool Unread() const { return unread_.load(); }

  // Forwards what the spool holds to `target`, oldest first, until it is empty or the
  // database is away, in batches of a few dozen, each written in one transaction and marked
  // forwarded in one. Unless `now`, it does nothing before the back-off after the last
  // failure has passed (1 s doubling to 60 s), unless another spool object forwarded into
  // the database since. A batch the database refuses for a reason of its own is written one
  // subgroup at a time: one it refuses for itself is set aside in the spool and logged, and
  // the others go on; `now` tries those again too. Gives how many this call wrote into the
  // database (one found there already, written by a forward that was cut short or by another
  // process forwarding the same spool, is taken out of the spool but not counted). Does
  // nothing while another spool object of this process forwards the same file into the
  // same database: that one drains it. Never fails: what goes wrong is logged. Once `stop`
  // is requested it ends after the batch under way, however many wait.
  int64_t Forward(SpcForwardTarget& target, bool now, std::stop_token stop = {});
  // After a save kept its subgroup: wakes the forwarder given to WakeWith, which forwards
  // on its own thread; forwards here to `target` without one.
  void ForwardSoon(SpcForwardTarget& target);
  // `wake` must return at once and may be called from any thread.
  void WakeWith(std::function<void()> wake);

  // The connection string of the sessions that keep subgroups, for a forwarder of its own.
  // Several hosts with different SPC databases may share the spool file: the spool keeps,
  // counts and forwards only the subgroups of its target's database (and those an earlier
  // version kept without naming one). Until a target is set it counts them all.
  std::string Target() const;
  void SetTarget(const std::string& connection);
  // Names the database of `connection` in the spool file, without its secrets: the same
  // for the same connection string whatever its password.
  static std::string DatabaseId(const std::string& connection);

  std::vector<SpoolEntry> List();
  int64_t CountBefore(runtime::Date time);
  int64_t RemoveBefore(runtime::Date time);

  const std::string& Path() const { return path_; }
  // Where the file found at the start was moved aside to, as no spool; "" when it was not.
  const std::string& MovedAsideTo() const { return movedAsideTo_; }

 private:
  // File, Refresh, Failed and Sweep with mutex_ held. A file deleted or replaced at its path
  // since it was opened is copied to the path (or beside it, when another file is there)
  // and left: what it holds stays kept.
  SpcSpoolFile& File();
  // Writes `batch` (see Forward) and marks what it wrote; false once the database is away.
  bool ForwardBatch(SpcForwardTarget& target, SpcSpoolLane& lane,
                    std::span<const SpooledSubgroup> batch, const std::stop_token& stop,
                    int64_t& count);
  // Marks the subgroups `ids` forwarded and counts those the database did not hold already.
  void Settle(const std::vector<int32_t>& ids, const std::vector<SpcWritten>& written,
              SpcSpoolLane& lane, int64_t& count);
  // Whether `target` connects; puts the next attempt off and logs a failure that is not
  // the database's absence when not.
  bool Reachable(SpcForwardTarget& target);
  void Refresh();
  // Starts or ends the time between the "unavailable" and "available again" lines.
  void Spooling(bool spooling);
  // Puts the next attempt off by the back-off, which doubles.
  void Failed();
  // Deletes what was forwarded; on a full disk it waits for the next forward.
  void Sweep();
  // Moves an unreadable file aside and logs it.
  void MoveAside(const runtime::Error& error);
  // Counts and logs a subgroup neither the database (`cause`) nor the spool (`refusal`)
  // took; gives the error its save fails with.
  runtime::Error Lose(const SpcSubgroupData& subgroup, const runtime::Error& cause,
                      const runtime::Error& refusal);

  const std::string path_;
  const std::string hostId_;
  const int64_t maxBytes_;
  const LogLine log_;
  const SteadyTime now_;
  const std::string run_;
  std::string movedAsideTo_;
  std::unique_ptr<SpcSpoolFile> file_;
  // The file and the state below.
  mutable std::mutex mutex_;
  // Of the file into the target's database; its lock is taken before mutex_.
  std::shared_ptr<SpcSpoolLane> lane_;
  std::function<void()> wake_;
  std::atomic<int64_t> depth_{0};
  std::atomic<int64_t> lost_{0};
  // Held and not refused.
  int64_t waiting_ = 0;
  std::atomic<bool> unread_ = false;
  uint64_t sequence_ = 0;
  // Since the "unavailable" log line, until the "available again" one.
  bool spooling_ = false;
  // Since the line saying subgroups are saved ahead of the kept ones.
  bool savingAhead_ = false;
  // Since the line saying forwarded subgroups could not be deleted.
  bool sweepFailed_ = false;
  int64_t forwarded_ = 0;
  int64_t foundForwarded_ = 0;
  // lane_->forwarded at the "unavailable" line, and at the last failure.
  int64_t laneAtSpooling_ = 0;
  int64_t laneAtFailure_ = 0;
  std::chrono::seconds backoff_{1};
  std::chrono::nanoseconds nextAttempt_{std::chrono::nanoseconds::min()};
  std::string target_;
  // DatabaseId(target_); "" before the first target.
  std::string database_;
};

}  // namespace platform
