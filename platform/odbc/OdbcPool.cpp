#include "platform/odbc/OdbcPool.h"

#include <algorithm>
#include <utility>

namespace platform {

OdbcPool& OdbcPool::Instance() {
  static OdbcPool* const pool = new OdbcPool();
  return *pool;
}

OdbcPool::OdbcPool(TimeSource now) : now_(std::move(now)) {}

OdbcPool::~OdbcPool() {
  Close();
}

std::shared_ptr<OdbcSession> OdbcPool::TakeKept(const std::string& connectionString,
                                                const OdbcPolicy& policy) {
  const std::string key = ConnectionIdentity(connectionString, policy);
  const Clock::time_point waitUntil = Clock::now() + kWaitForKept;
  for (;;) {
    std::unique_ptr<OdbcSession> kept;
    {
      std::unique_lock lock(mutex_);
      if (policy.poolIdleSeconds <= 0 || closed_) return nullptr;
      // Past the limit even a kept one waits its turn: lines that all collect at one moment
      // then share a few connections, instead of each keeping the one it took at a peak.
      InUse& inUse = inUse_[key];
      if (inUse.count >= kMaxInUse &&
          inUse.returned.wait_until(lock, waitUntil) != std::cv_status::timeout) {
        continue;
      }
      // One whose time ran out waits for the reaper.
      const Clock::time_point now = now_();
      auto found = std::find_if(idle_.rbegin(), idle_.rend(), [&](const Idle& idle) {
        return idle.key == key && idle.expires > now;
      });
      if (found == idle_.rend()) return nullptr;
      kept = std::move(found->session);
      idle_.erase(std::next(found).base());
    }
    if (kept->Reset()) {
      kept->SetLockWait(LockWaitSeconds(policy));
      return Held(key, policy.poolIdleSeconds, std::move(kept));
    }
  }
}

std::shared_ptr<OdbcSession> OdbcPool::Connect(const std::string& connectionString,
                                               const OdbcPolicy& policy) {
  return Held(ConnectionIdentity(connectionString, policy), policy.poolIdleSeconds,
              std::make_unique<OdbcSession>(connectionString, policy));
}

std::shared_ptr<OdbcSession> OdbcPool::Held(const std::string& key, int32_t idleSeconds,
                                            std::unique_ptr<OdbcSession> session) {
  {
    std::lock_guard lock(mutex_);
    ++inUse_[key].count;
  }
  return std::shared_ptr<OdbcSession>(
      session.release(), [this, key, idleSeconds](OdbcSession* s) { Return(key, idleSeconds, s); });
}

void OdbcPool::Return(const std::string& key, int32_t idleSeconds, OdbcSession* session) noexcept {
  std::unique_ptr<OdbcSession> owned(session);
  const bool keep = idleSeconds > 0 && owned->Reset();
  bool wake = false;
  try {
    std::lock_guard lock(mutex_);
    // One waiting for this key takes it, or connects anew when it was dropped.
    InUse& inUse = inUse_[key];
    --inUse.count;
    inUse.returned.notify_one();
    if (!keep || closed_) return;
    const Clock::time_point expires = now_() + std::chrono::seconds(idleSeconds);
    idle_.push_back({key, std::move(owned), expires});
    if (!reaper_.joinable()) reaper_ = std::thread([this] { Reap(); });
    wake = expires < reaperWakesAt_;
  } catch (...) {
    // Without room or a thread the connection is simply not kept.
    return;
  }
  if (wake) wake_.notify_all();
}

size_t OdbcPool::IdleCount() {
  std::lock_guard lock(mutex_);
  return idle_.size();
}

void OdbcPool::DisconnectExpired() {
  std::vector<Idle> expired;
  std::lock_guard lock(mutex_);
  expired = TakeExpired(idle_.size());
}

void OdbcPool::Clear() {
  std::vector<Idle> all;
  std::lock_guard lock(mutex_);
  all.swap(idle_);
}

void OdbcPool::Close() {
  {
    std::lock_guard lock(mutex_);
    closed_ = true;
    for (auto& [key, inUse] : inUse_) inUse.returned.notify_all();
  }
  wake_.notify_all();
  if (reaper_.joinable()) reaper_.join();
  Clear();
}

std::vector<OdbcPool::Idle> OdbcPool::TakeExpired(size_t most) {
  std::vector<Idle> expired;
  const Clock::time_point now = now_();
  auto first = std::stable_partition(idle_.begin(), idle_.end(),
                                     [&](const Idle& idle) { return idle.expires > now; });
  std::sort(first, idle_.end(), [](const Idle& a, const Idle& b) { return a.expires < b.expires; });
  auto last = idle_.end();
  if (static_cast<size_t>(last - first) > most) last = first + static_cast<ptrdiff_t>(most);
  std::move(first, last, std::back_inserter(expired));
  idle_.erase(first, last);
  return expired;
}

void OdbcPool::Reap() {
  Clock::time_point nextDisconnect = Clock::time_point::min();
  std::unique_lock lock(mutex_);
  while (!closed_) {
    reaperWakesAt_ = Clock::time_point::max();
    for (const Idle& idle : idle_) reaperWakesAt_ = std::min(reaperWakesAt_, idle.expires);
    if (reaperWakesAt_ == Clock::time_point::max()) {
      wake_.wait(lock);
      continue;
    }
    reaperWakesAt_ = std::max(reaperWakesAt_, nextDisconnect);
    // As long as the time source takes to get there.
    wake_.wait_for(lock, reaperWakesAt_ - now_());
    if (now_() < nextDisconnect) continue;
    // One at a time, a pause apart: a server ending at once the hundreds of sessions that a
    // start's data link tests left idle stalls every line's queries for seconds.
    std::vector<Idle> expired = TakeExpired(1);
    if (expired.empty()) continue;
    lock.unlock();
    expired.clear();
    lock.lock();
    nextDisconnect = now_() + kBetweenDisconnects;
  }
}

}  // namespace platform
