// The collection engine. Started with a configuration, it ticks on its host timer every
// 100 ms and, on the first tick strictly after the planned collection time, runs one
// collection: query the historian for the current value of every configured tag, update
// the tag items, evaluate the conditions, resolve descriptors and characteristics, and
// save one subgroup through the host database. Success plans the next collection one
// subgroup period on, any failure (unmet conditions included) after the retry period; a
// schedule that cannot be planned at all retries 60 seconds later, never at once. A
// collection that starts more than one subgroup period late, by the monotonic clock, is
// recorded with the collection times it missed, those that passed while the collection
// before it ran included.
//
// The engine shows no collection error. Each step is a boolean function: an expected
// failure is recorded with its three texts by LogError, an unexpected one under the
// procedure's name, and the step returns false, which ends the collection. LogError keeps
// the last error in the status record, raises CollectionError and appends a line to the
// collection log; only a line the log cannot take is shown, through the host's error
// display. Everything runs on the thread that owns the engine, inside timer ticks. The
// timer is told every planned time, so that an idle engine need not tick before it.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "config/Configuration1.h"
#include "host/Components.h"
#include "runtime/Clock.h"
#include "runtime/Date.h"
#include "runtime/Error.h"
#include "runtime/Event.h"

namespace engine {

class Engine1 {
 public:
  // `components` outlives the engine.
  explicit Engine1(host::Components& components);
  ~Engine1();
  Engine1(const Engine1&) = delete;
  Engine1& operator=(const Engine1&) = delete;

  // Clears the status record, plans the first collection and starts the timer; starting a
  // running engine restarts it. The configuration is shared: later edits are seen.
  bool StartEngine(std::shared_ptr<config::Configuration1> configuration);
  // Stops the timer; the timer and the configuration are kept for the next start.
  bool StopEngine();

  bool IsRunning() const { return status_.isRunning; }
  int32_t SavedSubgroups() const { return status_.savedSubgroups; }
  runtime::Date LastSavedSubgroup() const { return status_.lastSavedSubgroup; }
  runtime::Date NextCollectionTime() const { return status_.nextCollectionTime; }
  runtime::Date LastErrorTime() const { return status_.lastErrorTime; }
  const std::string& LastErrorDescription() const { return status_.lastErrorDescription; }
  const std::string& LastErrorDetail() const { return status_.lastErrorDetail; }
  const std::string& LastErrorExtended() const { return status_.lastErrorExtended; }

  runtime::Event<> EngineStarted;
  runtime::Event<> EngineStopped;
  runtime::Event<> CollectionError;
  runtime::Event<> CollectionTimeSet;
  runtime::Event<> DescriptorsRefreshed;
  runtime::Event<> TestsRefreshed;
  runtime::Event<> TagsRefreshed;
  runtime::Event<> ConditionsRefreshed;
  runtime::Event<> SubgroupSaved;

 private:
  struct Status {
    bool isRunning = false;
    int32_t savedSubgroups = 0;
    runtime::Date lastSavedSubgroup;
    runtime::Date nextCollectionTime;
    runtime::Date lastErrorTime;
    std::string lastErrorDescription;
    std::string lastErrorDetail;
    std::string lastErrorExtended;
  };

  // One characteristic reading of the subgroup being saved. Its texts are the TestItem's
  // resolved values, which stay put while the subgroup is stored.
  struct TestEntry {
    const std::string& group;
    const std::string& item;
    double value = 0;
    const std::string& defect;
    int32_t occurrence = 0;
  };

  // One moment as the wall clock and the monotonic clock read it.
  struct Moment {
    runtime::Date wall;
    std::chrono::nanoseconds monotonic;
  };
  static Moment Look();

  // Scheduling (Engine1.cpp). Each schedule plans its first grid point strictly after
  // `after`: now, or after a step back the last look at the clock as the stepped clock
  // reads it. A unit code outside 0-3 is recorded as "Invalid Schedule"; the subgroup
  // schedule then falls back to the retry schedule, and a retry schedule that cannot be
  // planned (a bad unit, failing date math) to kFallback from now.
  void moTimer_OnTimer();
  bool CollectSample();
  bool SetNextSubgroupPeriod(runtime::Date after = runtime::Now());
  bool SetNextRetryPeriod(runtime::Date after = runtime::Now());
  bool SetNextPeriod(int32_t unit, int32_t interval, runtime::Date after);
  void SetFallbackPeriod();
  // Sets NextCollectionTime and when it falls due on the monotonic clock, and arms the
  // timer for it.
  void PlanCollection(runtime::Date next);
  // True for a unit code of 0-3; otherwise records the error, `consequence` as its
  // extended detail.
  bool UnitIsValid(const char* schedule, int32_t unit, const std::string& consequence);
  static std::string FallbackText();
  // Records a collection starting at `start` more than one subgroup period after the
  // first collection time it could serve, with the collection times it missed
  // (EngineLateness.cpp).
  void RecordLateStart(const Moment& start);
  // After the collection that started at `start`: how long it took, and the first
  // collection time that passed while it ran, if one did (EngineLateness.cpp).
  void RecordCollectionEnd(const Moment& start);
  // A clock seen to step back by more than one tick (the fall-back night, an NTP step)
  // would leave the planned time far ahead: the plan is made again on the same grid and
  // with the same settings, so that the first grid point the stepped clock reaches is
  // collected, the one at the start of a repeated hour included.
  void ReplanAfterClockStep(const Moment& now);

  static constexpr std::chrono::seconds kFallback{60};

  // The historian query (EngineQuery.cpp). Tag names are bound to the statement's "?"
  // markers, never written into it.
  bool GetRecordset(std::unique_ptr<host::Recordset>& rs);
  // The WHERE clause around `tagTest`, the test of the bound tag names; "" for none.
  std::string GetWHEREClause(const std::string& tagTest);
  // "Tagname IN (?, ?, ...)" with `tagCount` markers.
  static std::string GetINClause(size_t tagCount);

  // Tag values and conditions (EngineConditions.cpp).
  bool ProcessRecordSet(std::unique_ptr<host::Recordset> rs);
  bool ResolveCondition();
  void EvaluateCondition(config::ConditionItem& condition);
  bool ConditionsSatisfied();

  // Descriptors and characteristics (EngineResolution.cpp).
  bool ResolveDescriptors();
  bool ResolveTests();
  std::string ResolveItem(const std::string& text);
  void ProcessTestItems(std::deque<TestEntry>& entries);

  // The subgroup save (EngineSave.cpp).
  void PrepareSubgroup();
  bool SaveSubgroup();
  std::string InvalidDescriptor(const config::DescriptorItem& descriptor) const;
  static std::string InvalidCharacteristic(const config::TestItem& test);
  void StoreSubgroup();

  // Error recording (EngineErrors.cpp). LogError never throws a failure of the log.
  void LogError(const std::string& description, const std::string& detail,
                const std::string& extended);
  void LogUnexpected(const char* procedure, std::exception_ptr thrown);
  // Shows `description` for `error` through the host's error display, located at
  // "Engine1.<procedure>"; stderr when the host has no working display.
  void ShowError(const runtime::Error& error, const std::string& description,
                 const char* procedure) noexcept;
  // Runs `body` under the engine's unexpected-error handler for `procedure`: an error is
  // recorded as "Engine1.<procedure>" and the result is false, "" or nothing.
  template <typename Body>
  auto Trapped(const char* procedure, Body&& body) -> decltype(body());

  // The engine's configuration; error 91 while it has none.
  config::Configuration1& Configuration() const;

  host::Components& components_;
  std::shared_ptr<config::Configuration1> configuration_;
  Status status_;
  bool collecting_ = false;
  // When NextCollectionTime falls due on the monotonic clock, and whether it is a retry.
  std::chrono::nanoseconds nextDue_{};
  bool retryPlanned_ = false;
  // The clocks when the engine last looked at them, between ticks and after a collection.
  std::optional<Moment> lastLook_;
  // How long the previous collection of this run took, and the first collection time that
  // passed while it ran.
  std::optional<std::chrono::nanoseconds> previousTook_;
  std::optional<Moment> passedWhileCollecting_;
  std::unique_ptr<host::HostSubgroup> subgroup_;
  std::unique_ptr<host::HostTimer> moTimer_;
  runtime::Subscription timerSubscription_;
};

template <typename Body>
auto Engine1::Trapped(const char* procedure, Body&& body) -> decltype(body()) {
  using Result = decltype(body());
  try {
    return body();
  } catch (...) {
    LogUnexpected(procedure, std::current_exception());
    if constexpr (!std::is_void_v<Result>) return Result{};
  }
}

}  // namespace engine
