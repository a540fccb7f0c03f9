#include "platform/spcdb/SpcSpool.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <sstream>

#include "platform/odbc/ConnectionSecrets.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcUnavailable.h"
#include "platform/spcdb/SpcWriter.h"
#include "runtime/Date.h"

namespace platform {
namespace {

constexpr std::chrono::seconds kLongestBackoff{60};

// Distinguishes this run of the host from earlier ones in the keys it makes.
std::string RunId() {
  std::random_device random;
  std::ostringstream id;
  id << std::hex << getpid() << '.' << std::chrono::system_clock::now().time_since_epoch().count()
     << '.' << random();
  return id.str();
}

uintmax_t SizeOf(const std::string& path) {
  std::error_code error;
  const uintmax_t size = std::filesystem::file_size(path, error);
  return error ? 0 : size;
}

std::string Said(const runtime::Error& error) {
  return MaskConnectionSecrets(error.NumberAndDescription());
}

}  // namespace

SpcSpool::SpcSpool(std::string path, std::string hostId, int64_t maxBytes, LogLine log)
    : path_(std::move(path)),
      hostId_(std::move(hostId)),
      maxBytes_(maxBytes),
      log_(std::move(log)),
      run_(RunId()) {
  if (std::filesystem::exists(path_)) {
    Refresh();
    // Left by an earlier run: its "unavailable" line is in the log already.
    spooling_ = waiting_ > 0;
  }
}

std::string SpcSpool::NewKey(const SpcSubgroupData& subgroup) {
  std::lock_guard lock(mutex_);
  return hostId_ + "|" + std::to_string(subgroup.sessionNumber) + "|" +
         runtime::FormatGeneralDate(subgroup.time) + "|" + run_ + "." + std::to_string(++sequence_);
}

void SpcSpool::Keep(const SpcSubgroupData& subgroup, const std::string& key,
                    const std::optional<runtime::Error>& cause) {
  std::lock_guard lock(mutex_);
  const std::string why = cause ? " The database said: " + Said(*cause) : std::string();
  const uintmax_t size = SizeOf(path_) + SizeOf(path_ + "-wal");
  if (size >= static_cast<uintmax_t>(maxBytes_)) {
    throw runtime::Error(kSpcSpoolFull,
                         "The SPC database cannot take subgroups and the local spool " + path_ +
                             " is full (" + std::to_string(size) + " of " +
                             std::to_string(maxBytes_) + " bytes, [Spool] MaxBytes in dam.ini)." +
                             why,
                         "SpcSpool");
  }
  try {
    File().Append(subgroup, key);
  } catch (...) {
    const runtime::Error error = runtime::ToError(std::current_exception());
    throw runtime::Error(error.Number(),
                         "The subgroup could not be kept in the local spool " + path_ + ": " +
                             error.Description() + "." + why,
                         "SpcSpool", error.SqlState());
  }
  Refresh();
  if (cause) Failed();
  if (!spooling_) {
    spooling_ = true;
    forwarded_ = 0;
    log_("SPC database unavailable, keeping subgroups locally", cause ? Said(*cause) : "", path_);
  }
}

bool SpcSpool::Holding() {
  std::lock_guard lock(mutex_);
  return waiting_ > 0;
}

void SpcSpool::ForwardSoon(SpcSession& session) {
  std::function<void()> wake;
  {
    std::lock_guard lock(mutex_);
    wake = wake_;
  }
  if (wake) {
    wake();
  } else {
    Forward(session, false);
  }
}

void SpcSpool::WakeWith(std::function<void()> wake) {
  std::lock_guard lock(mutex_);
  wake_ = std::move(wake);
}

// The spool's lock is held only around its own file and state, never while the database is
// waited for: a save may keep its subgroup behind the ones being forwarded meanwhile.
int64_t SpcSpool::Forward(SpcSession& session, bool now) {
  std::lock_guard forwarding(forwarding_);
  int64_t count = 0;
  try {
    {
      std::lock_guard lock(mutex_);
      if (!file_ && !std::filesystem::exists(path_)) return 0;
      if (!now && Clock::now() < nextAttempt_) return 0;
      // Asked for by a person, who may have fixed what the database refused.
      if (now) File().ClearRefusals();
    }
    if (!Reachable(session)) return 0;
    const bool strict = session.Settings().StrictTests();
    for (;;) {
      std::optional<SpooledSubgroup> next;
      {
        std::lock_guard lock(mutex_);
        next = File().Oldest();
      }
      if (!next) break;
      const auto write = [&] {
        session.Transact(
            [&](SpcLink& link) { WriteSubgroup(link, next->data, strict, next->key); });
      };
      try {
        try {
          write();
        } catch (const runtime::Error& error) {
          // Another host on this spool may have committed the same key meanwhile (the
          // unique key refused this one): written again, it is found.
          if (IsUnavailable(error)) throw;
          write();
        }
      } catch (...) {
        const runtime::Error error = runtime::ToError(std::current_exception());
        std::lock_guard lock(mutex_);
        if (IsUnavailable(error)) {
          Failed();
          break;
        }
        File().Refuse(next->id, Said(error));
        log_("A kept subgroup was refused by the SPC database and stays in the spool", Said(error),
             "collected " + runtime::FormatGeneralDate(next->data.time) + " (dam spool)");
        continue;
      }
      std::lock_guard lock(mutex_);
      File().Remove(next->id);
      ++count;
      ++forwarded_;
    }
    std::lock_guard lock(mutex_);
    Refresh();
    if (waiting_ == 0 && spooling_) {
      spooling_ = false;
      backoff_ = std::chrono::seconds(1);
      nextAttempt_ = {};
      std::string detail = "forwarded " + std::to_string(forwarded_) + " kept subgroup(s)";
      if (depth_ > 0) {
        detail += "; " + std::to_string(depth_) + " refused, still in the spool (dam spool)";
      }
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

std::string SpcSpool::Target() const {
  std::lock_guard lock(mutex_);
  return target_;
}

void SpcSpool::SetTarget(const std::string& connection) {
  std::lock_guard lock(mutex_);
  target_ = connection;
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

bool SpcSpool::Reachable(SpcSession& session) {
  try {
    session.Use([](SpcLink&) {});
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
  if (!file_) file_ = std::make_unique<SpcSpoolFile>(path_);
  return *file_;
}

void SpcSpool::Refresh() {
  depth_ = File().Count();
  waiting_ = File().Waiting();
}

void SpcSpool::Failed() {
  nextAttempt_ = Clock::now() + backoff_;
  backoff_ = std::min(backoff_ * 2, kLongestBackoff);
}

}  // namespace platform
