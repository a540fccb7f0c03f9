#include "platform/spcdb/SpcSession.h"

#include "platform/spcdb/SpcUnavailable.h"
#include "runtime/Error.h"

namespace platform {

void SpcSession::Open(int32_t, int32_t) {
  link_.reset();
  opened_ = true;
  if (spool_) spool_->SetTarget(settings_.Connection());
  runtime::RaisingFrom("SpcSession.Open", [&] {
    try {
      Link();
    } catch (const runtime::Error& error) {
      if (!spool_ || !IsUnavailable(error)) throw;
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

SpcWritten SpcSession::Forward(const SpcSubgroupData& subgroup, const std::string& key) {
  SpcWritten written;
  const bool strict = settings_.StrictTests();
  Transact([&](SpcLink& link) { written = WriteSubgroup(link, subgroup, strict, key); });
  return written;
}

void SpcSession::Use(const std::function<void(SpcLink&)>& work) {
  for (bool retry = link_ != nullptr;; retry = false) {
    SpcLink& link = Link();
    try {
      work(link);
      return;
    } catch (...) {
      if (!DropIfBroken() || !retry) throw;
    }
  }
}

void SpcSession::Transact(const std::function<void(SpcLink&)>& body) {
  for (bool retry = link_ != nullptr;; retry = false) {
    SpcLink& link = Link();
    bool committing = false;
    try {
      link.Begin();
      body(link);
      committing = true;
      link.Commit();
      return;
    } catch (...) {
      link.Rollback();
      if (!DropIfBroken() || !retry || committing) throw;
    }
  }
}

bool SpcSession::DropIfBroken() {
  try {
    link_->Connection().Execute("SELECT 1");
    return false;
  } catch (...) {
    link_.reset();
    return true;
  }
}

SpcLink& SpcSession::Link() {
  if (!opened_) {
    throw runtime::Error(runtime::kConnectionClosed, "The SPC database session is not open",
                         "SpcSession");
  }
  if (link_) {
    if (link_->StillAtItsPath()) return *link_;
    link_->SettleMovedFile();
    link_.reset();
  }
  std::string connection = settings_.Connection();
  if (connection.empty()) {
    throw runtime::Error(runtime::kConnectionClosed,
                         "No SPC database is set: the session's connection setting is empty",
                         "SpcSession");
  }
  link_ = std::make_unique<SpcLink>(connection, settings_.Odbc());
  return *link_;
}

}  // namespace platform
