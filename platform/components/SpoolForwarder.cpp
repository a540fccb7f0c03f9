#include "platform/components/SpoolForwarder.h"

#include <iostream>

#include "runtime/Error.h"

namespace platform {

SpoolForwarder::SpoolForwarder(std::shared_ptr<SpcSpool> spool, bool strictTests,
                               const OdbcPolicy& policy)
    : spool_(std::move(spool)), strictTests_(strictTests), policy_(policy) {
  worker_.moveToThread(&thread_);
  QObject::connect(&thread_, &QThread::started, &worker_, [this] {
    timer_ = std::make_unique<QTimer>();
    QObject::connect(timer_.get(), &QTimer::timeout, &worker_, [this] { Tick(); });
    Tick();
  });
  QObject::connect(&thread_, &QThread::finished, &worker_, [this] { timer_.reset(); });
  // A host of hundreds of lines whose spools stay empty starts none of their threads.
  spool_->WakeWith([this] {
    std::call_once(started_, [this] { thread_.start(); });
    QMetaObject::invokeMethod(&worker_, [this] { Tick(); });
  });
  if (spool_->Depth() > 0 || spool_->Unread())
    std::call_once(started_, [this] { thread_.start(); });
}

SpoolForwarder::~SpoolForwarder() {
  spool_->WakeWith(nullptr);
  stopping_.request_stop();
  thread_.quit();
  thread_.wait();
}

void SpoolForwarder::Tick() {
  // A spool locked at the start is read here too: a line may not save for hours.
  spool_->Holding();
  Forward();
  // An empty spool sleeps until a save keeps a subgroup and wakes it.
  if (spool_->Depth() == 0 && !spool_->Unread()) {
    timer_->stop();
  } else if (!timer_->isActive()) {
    timer_->start(1000);
  }
}

void SpoolForwarder::Forward() {
  // Nothing may reach the event loop; the spool logs what goes wrong with its forwards.
  try {
    if (spool_->Depth() == 0) return;
    const std::string target = spool_->Target();
    if (target.empty()) return;
    if (!session_ || session_->Settings().Connection() != target) {
      session_ = std::make_shared<SpcSession>();
      session_->Settings().SetConnection(target);
      session_->Settings().SetStrictTests(strictTests_);
      session_->Settings().SetOdbcPolicy(policy_);
      // A database still away is no error here: the forward connects again, and says why
      // it could not.
      try {
        session_->Open(1, 0);
      } catch (const runtime::Error&) {
      }
    }
    spool_->Forward(*session_, false, stopping_.get_token());
  } catch (...) {
    // Not the error display: it may open a window, which this thread must not.
    std::cerr << "The spool's forwarder failed: "
              << runtime::ToError(std::current_exception()).NumberAndDescription() << std::endl;
  }
}

}  // namespace platform
