#include "platform/odbc/OdbcPool.h"

#include <algorithm>
#include <atomic>

namespace platform {
namespace {

// Sessions released while the process exits, after the pool is gone, disconnect at once.
std::atomic<bool> poolAlive{false};

std::string KeyOf(const std::string& connectionString, const OdbcPolicy& policy) {
  return std::to_string(policy.allowDriverPaths) + ' ' + std::to_string(policy.loginTimeout) + ' ' +
         std::to_string(policy.queryTimeout) + ' ' + connectionString;
}

}  // namespace

OdbcPool& OdbcPool::Instance() {
  static OdbcPool pool;
  return pool;
}

OdbcPool::OdbcPool() {
  poolAlive = true;
}

OdbcPool::~OdbcPool() {
  poolAlive = false;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (reaper_.joinable()) reaper_.join();
  Clear();
}

std::shared_ptr<OdbcSession> OdbcPool::Connect(const std::string& connectionString,
                                               const OdbcPolicy& policy) {
  const std::string key = KeyOf(connectionString, policy);
  const int32_t idleSeconds = policy.poolIdleSeconds;
  auto hold = [this, key, idleSeconds](std::unique_ptr<OdbcSession> session) {
    return std::shared_ptr<OdbcSession>(
        session.release(),
        [this, key, idleSeconds](OdbcSession* s) { Return(key, idleSeconds, s); });
  };
  for (;;) {
    std::unique_ptr<OdbcSession> kept;
    {
      std::vector<Idle> expired;
      std::lock_guard lock(mutex_);
      expired = TakeExpired();
      auto found = std::find_if(idle_.rbegin(), idle_.rend(),
                                [&](const Idle& idle) { return idle.key == key; });
      if (found == idle_.rend()) break;
      kept = std::move(found->session);
      idle_.erase(std::next(found).base());
    }
    if (kept->Reset()) return hold(std::move(kept));
  }
  return hold(std::make_unique<OdbcSession>(connectionString, policy));
}

void OdbcPool::Return(const std::string& key, int32_t idleSeconds, OdbcSession* session) noexcept {
  std::unique_ptr<OdbcSession> owned(session);
  if (idleSeconds <= 0 || !poolAlive || !owned->Reset()) return;
  std::vector<Idle> expired;
  try {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    expired = TakeExpired();
    idle_.push_back({key, std::move(owned), Clock::now() + std::chrono::seconds(idleSeconds)});
    if (!reaper_.joinable()) reaper_ = std::thread([this] { Reap(); });
  } catch (...) {
    // Without room or a thread the connection is simply not kept.
    return;
  }
  wake_.notify_all();
}

size_t OdbcPool::IdleCount() {
  std::lock_guard lock(mutex_);
  return idle_.size();
}

void OdbcPool::Clear() {
  std::vector<Idle> all;
  std::lock_guard lock(mutex_);
  all.swap(idle_);
}

std::vector<OdbcPool::Idle> OdbcPool::TakeExpired() {
  std::vector<Idle> expired;
  const Clock::time_point now = Clock::now();
  auto first = std::stable_partition(idle_.begin(), idle_.end(),
                                     [&](const Idle& idle) { return idle.expires > now; });
  std::move(first, idle_.end(), std::back_inserter(expired));
  idle_.erase(first, idle_.end());
  return expired;
}

void OdbcPool::Reap() {
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    if (idle_.empty()) {
      wake_.wait(lock);
      continue;
    }
    Clock::time_point next =
        std::min_element(idle_.begin(), idle_.end(), [](const Idle& a, const Idle& b) {
          return a.expires < b.expires;
        })->expires;
    wake_.wait_until(lock, next);
    std::vector<Idle> expired = TakeExpired();
    lock.unlock();
    expired.clear();
    lock.lock();
  }
}

}  // namespace platform
