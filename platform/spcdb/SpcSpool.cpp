#include "platform/spcdb/SpcSpool.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <random>
#include <sstream>

#include "platform/odbc/ConnectionSecrets.h"
#include "platform/odbc/OdbcDiagnostics.h"
#include "platform/spcdb/SpcUnavailable.h"
#include "runtime/Clock.h"
#include "runtime/Date.h"
#include "runtime/Text.h"

namespace platform {
namespace {

constexpr std::chrono::seconds kLongestBackoff{60};
// A batch of kept subgroups: enough that its commits (each an fsync, on the server and in
// the spool file) are shared by many, few enough that a host's stop, which waits for the
// batch under way, is not held up, and that large subgroups make small batches.
constexpr size_t kBatchSubgroups = 50;
constexpr size_t kBatchReadings = 5000;
// The SQLite result codes of a file that is no database, or a damaged one.
constexpr int32_t kSqliteCorrupt = 11;
constexpr int32_t kSqliteNotADatabase = 26;

// Distinguishes this run of the host from earlier ones in the keys it makes.
std::string RunId() {
  std::random_device random;
  std::ostringstream id;
  id << std::hex << getpid() << '.' << std::chrono::system_clock::now().time_since_epoch().count()
     << '.' << random();
  return id.str();
}

std::string Said(const runtime::Error& error) {
  return MaskConnectionSecrets(error.NumberAndDescription());
}

// `path` + "." + `what` + "-" + the local time, "spool.db.corrupt-2026-11-23T06-00-00",
// numbered when that is taken.
std::string AsidePath(const std::string& path, const std::string& what) {
  const runtime::Date now = runtime::Now();
  std::string time = runtime::FormatShortDate(now) + "T" + runtime::FormatLongTime(now);
  std::replace(time.begin(), time.end(), ':', '-');
  const std::string base = path + "." + what + "-" + time;
  std::string aside = base;
  for (int n = 2; std::filesystem::exists(aside); ++n) aside = base + "." + std::to_string(n);
  return aside;
}

}  // namespace

SpcSpool::SpcSpool(std::string path, std::string hostId, int64_t maxBytes, LogLine log,
                   SteadyTime now)
    : path_(std::move(path)),
      hostId_(std::move(hostId)),
      maxBytes_(maxBytes),
      log_(std::move(log)),
      now_(std::move(now)),
      run_(RunId()),
      lane_(SpcSpoolLaneOf(path_, "")) {
  if (!std::filesystem::exists(path_)) return;
  try {
    Refresh();
  } catch (const runtime::Error& error) {
    if (IsSqliteLocked(error.Number())) {
      // Hosts starting together, or a forward by hand, hold it: no reason to stop this
      // host, which reads what the spool holds at its first save.
      unread_ = true;
      log_("The local spool is in use and is read later", Said(error), path_);
      return;
    }
    if (error.Number() != kSqliteNotADatabase && error.Number() != kSqliteCorrupt) {
      throw runtime::Error(error.Number(),
                           "The local spool " + path_ + " cannot be opened: " + error.Description(),
                           "SpcSpool", error.SqlState());
    }
    MoveAside(error);
    return;
  }
  Sweep();
  // Left by an earlier run: its "unavailable" line is in the log already.
  Spooling(waiting_ > 0);
}

void SpcSpool::MoveAside(const runtime::Error& error) {
  file_.reset();
  const std::string aside = AsidePath(path_, "corrupt");
  // Its journals go with it: they belong to that file, and a new one must not take them.
  for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
    std::error_code failed;
    if (!std::filesystem::exists(path_ + suffix, failed)) continue;
    std::filesystem::rename(path_ + suffix, aside + suffix, failed);
    if (failed) {
      throw runtime::Error(runtime::kPathFileAccessError,
                           "The local spool " + path_ + " cannot be read (" + Said(error) +
                               ") nor moved aside to " + aside + suffix + ": " + failed.message(),
                           "SpcSpool");
    }
  }
  log_("The local spool could not be read and was moved aside; a new one is started", Said(error),
       aside);
  movedAsideTo_ = aside;
}

std::string SpcSpool::NewKey(const SpcSubgroupData& subgroup) {
  std::lock_guard lock(mutex_);
  return hostId_ + "|" + std::to_string(subgroup.sessionNumber) + "|" +
         runtime::FormatGeneralDate(subgroup.time) + "|" + run_ + "." + std::to_string(++sequence_);
}

void SpcSpool::Keep(const SpcSubgroupData& subgroup, const std::string& key,
                    const std::optional<runtime::Error>& cause) {
  std::lock_guard lock(mutex_);
  try {
    const int64_t used = File().UsedBytes();
    if (used >= maxBytes_) {
      throw runtime::Error(kSpcSpoolFull,
                           "The local spool " + path_ + " is full (" + std::to_string(used) +
                               " of " + std::to_string(maxBytes_) +
                               " bytes, [Spool] MaxBytes in dam.ini)",
                           "SpcSpool");
    }
    File().Append(subgroup, key, database_);
  } catch (...) {
    runtime::Error error = runtime::ToError(std::current_exception());
    if (error.Number() != kSpcSpoolFull) {
      error = runtime::Error(
          error.Number(),
          "The subgroup could not be kept in the local spool " + path_ + ": " + error.Description(),
          "SpcSpool", error.SqlState());
    }
    if (cause) throw Lose(subgroup, *cause, error);
    throw error;
  }
  savingAhead_ = false;
  Refresh();
  if (cause) Failed();
  if (!spooling_) {
    Spooling(true);
    log_("SPC database unavailable, keeping subgroups locally", cause ? Said(*cause) : "", path_);
  }
}

runtime::Error SpcSpool::Lose(const SpcSubgroupData& subgroup, const runtime::Error& cause,
                              const runtime::Error& refusal) {
  ++lost_;
  log_("Subgroup lost: the SPC database did not take it and the local spool could not keep it",
       "collected " + runtime::FormatGeneralDate(subgroup.time) +
           "; the database said: " + Said(cause) + "; the spool said: " + Said(refusal),
       path_);
  return runtime::Error(refusal.Number(),
                        "The SPC database did not take it (" + Said(cause) +
                            ") and the local spool could not keep it: " + refusal.Description(),
                        "SpcSpool", refusal.SqlState());
}

void SpcSpool::SaveAhead(const runtime::Error& refusal) {
  std::lock_guard lock(mutex_);
  if (savingAhead_) return;
  savingAhead_ = true;
  log_("The local spool cannot keep subgroups: new ones are saved directly, ahead of the " +
           std::to_string(waiting_) + " kept one(s)",
       Said(refusal), path_);
}

bool SpcSpool::Holding() {
  std::lock_guard lock(mutex_);
  if (unread_) {
    // Still in use: this subgroup is saved directly, and the next save looks again.
    try {
      Refresh();
      Spooling(waiting_ > 0);
    } catch (const runtime::Error&) {
    }
  }
  return waiting_ > 0;
}

void SpcSpool::ForwardSoon(SpcForwardTarget& target) {
  std::function<void()> wake;
  {
    std::lock_guard lock(mutex_);
    wake = wake_;
  }
  if (wake) {
    wake();
  } else {
    Forward(target, false);
  }
}

void SpcSpool::WakeWith(std::function<void()> wake) {
  std::lock_guard lock(mutex_);
  wake_ = std::move(wake);
}

// The spool's lock is held only around its own file and state, never while the database is
// waited for: a save may keep its subgroup behind the ones being forwarded meanwhile.
int64_t SpcSpool::Forward(SpcForwardTarget& target, bool now, std::stop_token stop) {
  std::shared_ptr<SpcSpoolLane> lane;
  {
    std::lock_guard lock(mutex_);
    lane = lane_;
  }
  // The forward under way drains what this one would; this one's counts and lines follow on
  // its next round.
  std::unique_lock turn(lane->forwarding, std::try_to_lock);
  if (!turn) return 0;
  int64_t count = 0;
  try {
    {
      std::lock_guard lock(mutex_);
      if (!file_ && !std::filesystem::exists(path_)) return 0;
      // Another forward reaching the database since the last failure shows it is back.
      if (!now && now_() < nextAttempt_ && lane->forwarded == laneAtFailure_) return 0;
      // Asked for by a person, who may have fixed what the database refused.
      if (now) File().ClearRefusals(database_);
    }
    if (!Reachable(target)) return 0;
    while (!stop.stop_requested()) {
      std::vector<SpooledSubgroup> batch;
      {
        std::lock_guard lock(mutex_);
        batch = File().Oldest(database_, kBatchSubgroups, kBatchReadings);
      }
      if (batch.empty() || !ForwardBatch(target, *lane, batch, stop, count)) break;
    }
    std::lock_guard lock(mutex_);
    Refresh();
    Sweep();
    if (waiting_ == 0 && spooling_) {
      backoff_ = std::chrono::seconds(1);
      nextAttempt_ = std::chrono::nanoseconds::min();
      std::string detail = "forwarded " + std::to_string(forwarded_) + " kept subgroup(s)";
      if (const int64_t others = lane->forwarded - laneAtSpooling_ - forwarded_; others > 0) {
        detail +=
            "; " + std::to_string(others) + " more were forwarded by another line's forwarder";
      }
      if (foundForwarded_ > 0) {
        detail += "; " + std::to_string(foundForwarded_) +
                  " more were in the SPC database already (forwarded by a run cut short or "
                  "another process)";
      }
      if (depth_ > 0) {
        detail += "; " + std::to_string(depth_) + " refused, still in the spool (dam spool)";
      }
      Spooling(false);
      savingAhead_ = false;
      log_("SPC database available again", detail, path_);
    }
  } catch (...) {
    std::lock_guard lock(mutex_);
    Failed();
    log_("The local spool could not be read or written",
         Said(runtime::ToError(std::current_exception())), path_);
  }
  return count;
}

bool SpcSpool::ForwardBatch(SpcForwardTarget& target, SpcSpoolLane& lane,
                            std::span<const SpooledSubgroup> batch, const std::stop_token& stop,
                            int64_t& count) {
  if (batch.size() > 1) {
    std::vector<SpcWritten> written;
    try {
      written = target.Forward(batch);
    } catch (...) {
      if (IsUnavailable(runtime::ToError(std::current_exception()))) {
        std::lock_guard lock(mutex_);
        Failed();
        return false;
      }
    }
    if (!written.empty()) {
      std::vector<int32_t> ids;
      for (const SpooledSubgroup& spooled : batch) ids.push_back(spooled.id);
      Settle(ids, written, lane, count);
      return true;
    }
  }
  // One at a time, so that only what the database refuses for itself is set aside.
  std::vector<int32_t> ids;
  std::vector<SpcWritten> written;
  bool reached = true;
  for (const SpooledSubgroup& spooled : batch) {
    if (stop.stop_requested()) break;
    const std::span<const SpooledSubgroup> one(&spooled, 1);
    try {
      try {
        written.push_back(target.Forward(one).at(0));
      } catch (const runtime::Error& error) {
        // Another host on this spool may have committed the same key meanwhile (the
        // unique key refused this one): written again, it is found.
        if (IsUnavailable(error)) throw;
        written.push_back(target.Forward(one).at(0));
      }
      ids.push_back(spooled.id);
    } catch (...) {
      const runtime::Error error = runtime::ToError(std::current_exception());
      std::lock_guard lock(mutex_);
      if (IsUnavailable(error)) {
        Failed();
        reached = false;
        break;
      }
      File().Refuse(spooled.id, Said(error));
      log_("A kept subgroup was refused by the SPC database and stays in the spool", Said(error),
           "collected " + runtime::FormatGeneralDate(spooled.data.time) + " (dam spool)");
    }
  }
  Settle(ids, written, lane, count);
  return reached;
}

void SpcSpool::Settle(const std::vector<int32_t>& ids, const std::vector<SpcWritten>& written,
                      SpcSpoolLane& lane, int64_t& count) {
  if (ids.empty()) return;
  std::lock_guard lock(mutex_);
  File().MarkForwarded(ids);
  for (const SpcWritten& one : written) {
    if (one.existed) {
      ++foundForwarded_;
    } else {
      ++count;
      ++forwarded_;
      ++lane.forwarded;
    }
  }
}

std::string SpcSpool::Target() const {
  std::lock_guard lock(mutex_);
  return target_;
}

void SpcSpool::SetTarget(const std::string& connection) {
  std::lock_guard lock(mutex_);
  if (connection == target_) return;
  target_ = connection;
  database_ = DatabaseId(connection);
  lane_ = SpcSpoolLaneOf(path_, database_);
  if (!file_ && !std::filesystem::exists(path_)) return;
  try {
    Refresh();
    // What an earlier run kept for this database: its "unavailable" line is in the log.
    Spooling(waiting_ > 0);
  } catch (const runtime::Error& error) {
    log_("The local spool could not be read or written", Said(error), path_);
  }
}

std::string SpcSpool::DatabaseId(const std::string& connection) {
  std::ostringstream id;
  runtime::Fnv1a hash;
  hash.Add(MaskConnectionSecrets(connection));
  id << std::hex << std::setw(16) << std::setfill('0') << hash.Value();
  return id.str();
}

std::vector<SpoolEntry> SpcSpool::List() {
  std::lock_guard lock(mutex_);
  if (!file_ && !std::filesystem::exists(path_)) return {};
  return File().List();
}

int64_t SpcSpool::CountBefore(runtime::Date time) {
  std::lock_guard lock(mutex_);
  if (!file_ && !std::filesystem::exists(path_)) return 0;
  return File().CountBefore(time);
}

int64_t SpcSpool::RemoveBefore(runtime::Date time) {
  std::lock_guard lock(mutex_);
  if (!file_ && !std::filesystem::exists(path_)) return 0;
  const int64_t removed = File().RemoveBefore(time);
  Refresh();
  return removed;
}

bool SpcSpool::Reachable(SpcForwardTarget& target) {
  try {
    target.Reach();
    return true;
  } catch (...) {
    const runtime::Error error = runtime::ToError(std::current_exception());
    std::lock_guard lock(mutex_);
    Failed();
    if (!IsUnavailable(error)) log_("The kept subgroups cannot be forwarded", Said(error), path_);
    return false;
  }
}

SpcSpoolFile& SpcSpool::File() {
  if (file_ && !file_->StillAtItsPath()) {
    const bool deleted = !std::filesystem::exists(path_);
    // The deleted file's journal: SQLite would not read that file while it is there. One
    // that cannot be removed shows in the read below.
    std::error_code ignored;
    if (deleted) std::filesystem::remove(path_ + "-journal", ignored);
    const int64_t held = file_->Count("");
    const std::string copy = deleted ? path_ : AsidePath(path_, "replaced");
    file_->CopyTo(copy);
    file_.reset();
    log_("The local spool was deleted or replaced while the host ran",
         "the " + std::to_string(held) + " subgroup(s) it held are kept in " + copy, path_);
  }
  if (!file_) file_ = std::make_unique<SpcSpoolFile>(path_);
  return *file_;
}

void SpcSpool::Refresh() {
  depth_ = File().Count(database_);
  waiting_ = File().Waiting(database_);
  unread_ = false;
}

void SpcSpool::Spooling(bool spooling) {
  spooling_ = spooling;
  forwarded_ = 0;
  foundForwarded_ = 0;
  laneAtSpooling_ = lane_->forwarded;
}

void SpcSpool::Failed() {
  laneAtFailure_ = lane_->forwarded;
  nextAttempt_ = now_() + backoff_;
  backoff_ = std::min(backoff_ * 2, kLongestBackoff);
}

void SpcSpool::Sweep() {
  try {
    File().DeleteForwarded();
    sweepFailed_ = false;
  } catch (const runtime::Error& error) {
    if (sweepFailed_) return;
    sweepFailed_ = true;
    log_("Forwarded subgroups stay in the local spool until there is room to delete them",
         Said(error), path_);
  }
}

}  // namespace platform
