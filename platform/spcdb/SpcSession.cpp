#include "platform/spcdb/SpcSession.h"

#include <algorithm>
#include <chrono>

#include "platform/odbc/OdbcHandle.h"
#include "platform/spcdb/SpcDialect.h"
#include "platform/spcdb/SpcUnavailable.h"
#include "runtime/Error.h"

namespace platform {
namespace {

// A transaction of more writes holds the file's write lock longer for other processes.
constexpr size_t kWritesPerTransaction = 32;

// `write`'s body, as a part of the transaction undone alone when it fails. Raises only when
// the transaction itself is gone with it.
void WritePart(SpcLink& link, SpcWrite& write) {
  link.BeginPart();
  try {
    write.body(link);
    link.EndPart();
  } catch (...) {
    if (!link.UndoPart()) throw;
    write.failure = std::current_exception();
  }
}

}  // namespace

void SpcSession::Open(int32_t, int32_t) {
  slot_ = std::make_shared<SpcLinkSlot>();
  opened_ = true;
  if (spool_) spool_->SetTarget(settings_.Connection());
  runtime::RaisingFrom("SpcSession.Open", [&] {
    try {
      Held held = Hold();
      Link(held);
    } catch (const runtime::Error& error) {
      if (!spool_ || !IsUnavailable(error) || IsUnopenedFile(error)) throw;
    }
  });
}

void SpcSession::CountSavesIn(std::shared_ptr<SpcSaveCount> saves) {
  saves_ = std::move(saves);
}

void SpcSession::Saved() {
  if (saves_) saves_->Add();
}

void SpcSession::KeepIn(std::shared_ptr<SpcSpool> spool) {
  spool_ = std::move(spool);
}

void SpcSession::Reach() {
  Use([](SpcLink&) {});
}

std::vector<SpcWritten> SpcSession::Forward(std::span<const SpooledSubgroup> batch) {
  std::vector<SpcWritten> written;
  const bool strict = settings_.StrictTests();
  Transact([&](SpcLink& link) {
    // Again from the start when repeated on a new connection.
    written.clear();
    for (const SpooledSubgroup& spooled : batch) {
      written.push_back(WriteSubgroup(link, spooled.data, strict, spooled.key));
    }
  });
  return written;
}

void SpcSession::Use(const std::function<void(SpcLink&)>& work) {
  Held held = Hold();
  for (bool retry = slot_->link != nullptr;; retry = false) {
    SpcLink& link = Link(held);
    try {
      work(link);
      return;
    } catch (...) {
      const bool broken = DropIfBroken();
      if (!broken || !retry) RethrowLost(broken);
    }
  }
}

void SpcSession::Transact(const std::function<void(SpcLink&)>& body) {
  SpcWrite mine{body};
  const std::shared_ptr<SpcLinkSlot> slot = slot_;
  std::unique_lock lock(slot->queueMutex);
  slot->queue.push_back(&mine);
  while (!mine.done) {
    if (slot->writing) {
      mine.turn.wait(lock);
      continue;
    }
    slot->writing = true;
    const size_t taken = std::min(slot->queue.size(), kWritesPerTransaction);
    const std::vector<SpcWrite*> batch(slot->queue.begin(), slot->queue.begin() + taken);
    slot->queue.erase(slot->queue.begin(), slot->queue.begin() + taken);
    lock.unlock();
    Write(batch);
    lock.lock();
    slot->writing = false;
    for (SpcWrite* write : batch) {
      write->done = true;
      write->turn.notify_one();
    }
  }
  if (!slot->writing && !slot->queue.empty()) slot->queue.front()->turn.notify_one();
  lock.unlock();
  if (mine.failure) std::rethrow_exception(mine.failure);
}

void SpcSession::Write(const std::vector<SpcWrite*>& batch) noexcept {
  try {
    Held held = Hold();
    for (bool retry = slot_->link != nullptr;; retry = false) {
      SpcLink& link = Link(held);
      bool committing = false;
      try {
        link.Begin();
        if (batch.size() == 1) {
          batch.front()->body(link);
        } else {
          for (SpcWrite* write : batch) WritePart(link, *write);
        }
        committing = true;
        link.Commit();
        return;
      } catch (...) {
        link.Rollback();
        const bool broken = DropIfBroken();
        if (!broken || !retry || committing) RethrowLost(broken);
        // Written again on the new connection, from the start.
        for (SpcWrite* write : batch) write->failure = nullptr;
      }
    }
  } catch (...) {
    for (SpcWrite* write : batch) {
      if (!write->failure) write->failure = std::current_exception();
    }
  }
}

bool SpcSession::DropIfBroken() {
  if (Answers(slot_->link->Connection())) return false;
  slot_->link.reset();
  return true;
}

SpcSession::Held SpcSession::Hold() {
  if (!ownConnection_ && !slot_->shared && !slot_->link) {
    if (auto shared = FindSharedSpcLinkSlot(SharingKey())) slot_ = std::move(shared);
  }
  // As long as for the file's lock, and failing as that wait does.
  const int32_t wait = SqliteLockWaitSeconds(settings_.Odbc());
  Held held(slot_->mutex, std::defer_lock);
  if (!held.try_lock_for(std::chrono::seconds(wait))) {
    throw runtime::Error(kUnspecifiedOdbcError,
                         "database is locked: another session of this process has been using it "
                         "for " +
                             std::to_string(wait) + " s",
                         "SpcSession", "HYT00");
  }
  return held;
}

SpcLink& SpcSession::Link(Held& held) {
  if (!opened_) {
    throw runtime::Error(runtime::kConnectionClosed, "The SPC database session is not open",
                         "SpcSession");
  }
  if (std::unique_ptr<SpcLink>& link = slot_->link) {
    if (link->StillAtItsPath()) return *link;
    link->SettleMovedFile();
    link.reset();
  }
  std::string connection = settings_.Connection();
  if (connection.empty()) {
    throw runtime::Error(runtime::kConnectionClosed,
                         "No SPC database is set: the session's connection setting is empty",
                         "SpcSession");
  }
  auto made = std::make_unique<SpcLink>(connection, settings_.Odbc());
  if (!ownConnection_ && !slot_->shared && made->IsFile()) {
    auto shared = ShareSpcLinkSlot(SharingKey(), slot_);
    if (shared != slot_) {
      // Another session of this process reached the file first: its link serves both.
      held = Held();
      slot_ = std::move(shared);
      held = Hold();
      if (slot_->link) return Link(held);
    }
  }
  slot_->link = std::move(made);
  return *slot_->link;
}

std::string SpcSession::SharingKey() const {
  return ConnectionIdentity(settings_.Connection(), settings_.Odbc());
}

}  // namespace platform
