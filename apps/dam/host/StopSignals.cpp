#include "apps/dam/host/StopSignals.h"

#include <poll.h>
#include <pthread.h>

#include <cstdio>
#include <iostream>

namespace dam {
namespace {

void Ignore(int signal, struct sigaction& previous) {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigemptyset(&ignore.sa_mask);
  sigaction(signal, &ignore, &previous);
}

// The signals whose default action ends the process that are neither handled otherwise nor
// sent for a fault of the program's own (SIGSEGV, SIGABRT and the like keep theirs).
sigset_t EndingAtOnce() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGALRM, SIGVTALRM, SIGPROF, SIGIO, SIGPWR, SIGSTKFLT, SIGXCPU}) {
    sigaddset(&signals, signal);
  }
  for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) sigaddset(&signals, signal);
  return signals;
}

}  // namespace

StopSignals::StopSignals(std::function<void()> quit, std::function<void()> unblock,
                         std::chrono::milliseconds grace, std::function<void()> reload)
    : quit_(std::move(quit)),
      unblock_(std::move(unblock)),
      grace_(grace),
      reload_(std::move(reload)),
      endingAtOnce_(EndingAtOnce()) {
  signals_ = endingAtOnce_;
  for (const int stopping : {SIGINT, SIGTERM, SIGQUIT, SIGHUP}) sigaddset(&signals_, stopping);
  pthread_sigmask(SIG_BLOCK, &signals_, &previousMask_);
  Ignore(SIGPIPE, previousPipe_);
  Ignore(SIGUSR1, previousUser1_);
  Ignore(SIGUSR2, previousUser2_);
  watcher_ = std::thread([this] { Watch(); });
}

StopSignals::~StopSignals() {
  {
    std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  // Ends a wait for a signal: the watcher sees `ending_` and takes this one for no request.
  pthread_kill(watcher_.native_handle(), SIGTERM);
  watcher_.join();
  sigaction(SIGPIPE, &previousPipe_, nullptr);
  sigaction(SIGUSR1, &previousUser1_, nullptr);
  sigaction(SIGUSR2, &previousUser2_, nullptr);
  // A second Ctrl-C or SIGTERM while the first stopped the host is one request: unblocked,
  // it would end the stopped process by its signal (exit 130, 143) instead of 0.
  const timespec none{};
  while (sigtimedwait(&signals_, nullptr, &none) > 0) {
  }
  pthread_sigmask(SIG_SETMASK, &previousMask_, nullptr);
}

void StopSignals::Stopped() {
  {
    std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_all();
}

void StopSignals::Watch() {
  // Sleeps until a signal comes, without waking in between; the destructor sends one.
  int signal = 0;
  for (;;) {
    while (sigwait(&signals_, &signal) != 0) {
    }
    {
      std::lock_guard lock(mutex_);
      if (ending_) return;
    }
    if (signal != SIGHUP || !reload_) break;
    reload_();
  }
  signal_ = signal;
  quit_();
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, grace_, [this] { return stopped_ || ending_; })) {
    lock.unlock();
    unblock_();
    lock.lock();
  }
}

void StopSignals::EndAsSignalled() const {
  const int signal = signal_;
  if (signal == 0 || sigismember(&endingAtOnce_, signal) != 1) return;
  std::cerr.flush();
  std::cout.flush();
  std::fflush(nullptr);
  struct sigaction byDefault {};
  byDefault.sa_handler = SIG_DFL;
  sigemptyset(&byDefault.sa_mask);
  sigaction(signal, &byDefault, nullptr);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, signal);
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  raise(signal);
}

bool OutputClosed(int fd) {
  pollfd output{.fd = fd, .events = POLLOUT, .revents = 0};
  return poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0;
}

}  // namespace dam
