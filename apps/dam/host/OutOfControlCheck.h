// Checks each subgroup a configuration saves against the control limits of its
// characteristics: for every test the subgroup holds, the chart of the latest subgroups the
// configuration saved with it (dam chart's window) is computed, and the subgroup's point
// is judged by the chosen run rules. The check runs on a thread of its own with its own
// session on the SPC database, so a slow database or a long window never holds the
// collection up; the driver's thread only says that something was saved, and hears what
// was found on its own event loop, or, once that loop has ended, when it asks.
#pragma once

#include <QObject>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>

#include "platform/odbc/OdbcPolicy.h"
#include "platform/spcdb/SpcRunRules.h"
#include "runtime/Date.h"
#include "runtime/Error.h"

namespace dam {

// A subgroup's point that breaks a rule.
struct OutOfControl {
  std::string configuration;
  // GROUP/TEST, as the database spells them.
  std::string test;
  // The subgroup's time.
  runtime::Date time;
  // Broken on the mean (or individuals) chart, and on the spread chart.
  platform::SpcRules rules = 0, spreadRules = 0;
};

class OutOfControlCheck {
 public:
  // Both are called on the thread that made the check, from its Qt event loop.
  using Report = std::function<void(const OutOfControl&)>;
  using Failed = std::function<void(const runtime::Error&)>;

  // Checks the subgroups `configuration` saves into the SPC database at `spc` from now on,
  // by `rules`, over windows of `window` subgroups. Waits until the check knows where the
  // database stands; a database it cannot read is reported through `failed`, and the check
  // starts from where it stands at the next save.
  OutOfControlCheck(std::string spc, platform::OdbcPolicy policy, std::string configuration,
                    platform::SpcRules rules, Report report, Failed failed, int32_t window = 25);
  // Ends the check after the subgroup it is at; what it found and has not told is dropped.
  ~OutOfControlCheck();
  OutOfControlCheck(const OutOfControlCheck&) = delete;
  OutOfControlCheck& operator=(const OutOfControlCheck&) = delete;

  // Something was saved: the check reads what is new. Returns at once, from any thread.
  void Saved();

  // The configuration stopped (the run ends, or a reload stopped it): the check reads what was
  // saved up to now, checks it, and ends. Ready once it
  // has; until TellNow, what it found waits for the event loop. Returns at once.
  std::future<void> Finish();

  // Tells here and now what the check found and has not told yet: for a caller whose event
  // loop has ended.
  void TellNow();

 private:
  void Run();
  // Runs `tell` on the thread that made the check.
  void Tell(std::function<void()> tell);

  const std::string spc_;
  const platform::OdbcPolicy policy_;
  const std::string configuration_;
  const platform::SpcRules rules_;
  const int32_t window_;
  const Report report_;
  const Failed failed_;
  // Lives on the thread that made the check: what is told is queued to it.
  QObject owner_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool started_ = false;
  bool saved_ = false;
  bool stop_ = false;
  bool finishing_ = false;
  std::promise<void> finished_;
  std::thread thread_;
};

}  // namespace dam
