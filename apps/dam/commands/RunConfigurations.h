// The configurations of one `dam run`, each a RunningConfiguration with what the run last
// showed of it: it starts them, shows their status lines or events, reloads them on SIGHUP
// and stops them. Lives on the run's thread; the drivers report to it through queued calls.
#pragma once

#include <QObject>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "apps/dam/Commands.h"
#include "apps/dam/host/MetricsBoard.h"
#include "apps/dam/host/OutOfControlCheck.h"
#include "apps/dam/host/RunStatus.h"
#include "apps/dam/host/RunningConfiguration.h"
#include "apps/dam/host/ServiceNotifier.h"
#include "apps/dam/host/StopSignals.h"
#include "apps/dam/output/RunEvents.h"
#include "platform/odbc/OdbcPolicy.h"
#include "platform/spcdb/SpcRunRules.h"

namespace dam {

// What a failure says, with the number and source of the error that caused it; a failure
// of dam's own has number 0.
RunError FailureError(std::exception_ptr failure);

// What watches every configuration of a run besides its status: the out-of-control check of
// what each saves (by `rules` on the SPC database at `spc`), and the metrics board.
struct RunObservers {
  std::optional<platform::SpcRules> rules;
  std::string spc;
  platform::OdbcPolicy policy;
  // Null without a metrics server.
  MetricsBoard* board = nullptr;
};

class RunConfigurations {
 public:
  RunConfigurations(const RunOptions& options, const RunObservers& observers,
                    ServiceNotifier& service, StopSignals& stop);

  // Starts every configuration the paths name, each on its own thread, and returns: the run
  // goes on while they start, so that one whose historian does not answer holds up no
  // other, nor a stop. A run of one configuration fails as it does; a run of several
  // reports those that cannot run, and ends, failing as the first one did, only when none
  // can.
  void Start();

  // Rereads the paths: a configuration whose file went is stopped, a new one started, one
  // whose text changed is handed the new text; the others run on untouched. What cannot
  // be read leaves what runs as it was. Returns at once: what each driver does takes its
  // own time on its own thread (a historian that hangs holds up no other change), and the
  // looks that follow tell of it; the service is ready again once every change is done.
  void Reload();

  // Asks for a look at the drivers from the run's thread, once however often it is asked
  // before it gets there; safe from any thread.
  void LookSoon();

  // Shows what changed, and ends the run once every configuration saved what it was to.
  void Look();

  // Stops every driver, all at once, and says what they saved and what their out-of-control
  // checks found in it. A start, reload, stop or check still waiting on a database is
  // cancelled; one still waiting after a second or two (a connect to a server that does not
  // answer) is left behind, said on stderr, and the run fails with kExitUnreachable when
  // nothing else ran. Never blocks for longer on such a wait: 1 s for the starts and reloads,
  // 5 s for the stops, 3 s for the checks.
  int Finish();

  // Finish left a driver's or an out-of-control check's thread waiting inside a database
  // call: no destructor can end it, so the process is to end without running any.
  bool LeftBehind() const { return !leftBehind_.empty() || checkLeftBehind_; }

 private:
  struct Starting {
    std::unique_ptr<RunningConfiguration> configuration;
    std::future<RunningConfiguration::Outcome> outcome;
    // As its text gives it: known before its driver is.
    std::string name;
    // Its newest error, and when it came, as a shown one's.
    uint64_t errorAt = 0;
    std::string lastError{};
  };

  struct Shown {
    std::unique_ptr<RunningConfiguration> configuration;
    std::optional<RunEvents> events;
    // As of the last look that found it changed.
    std::optional<RunningConfiguration::Status> status;
    std::string line;
    std::string unavailable;
    // With rules: told of each count of saved subgroups the driver reaches.
    std::unique_ptr<OutOfControlCheck> outOfControl;
    int64_t checkedAt = 0;
    // When its newest error came, in the order of the run's errors; 0: none yet.
    uint64_t errorAt = 0;
    // In the journal: what its last status line there told that matters (see Journals), and
    // when it was written.
    std::string journaled;
    std::chrono::steady_clock::time_point journaledAt;
  };

  // A configuration handed a changed text, until its driver took it.
  struct Reloading {
    Shown* shown;
    std::string text;
    std::future<RunningConfiguration::Outcome> outcome;
    // Said to wait for its driver, which does not answer.
    bool waits = false;
  };

  // A configuration whose file went, until its driver stopped.
  struct Leaving {
    std::unique_ptr<Shown> shown;
    std::future<void> stopped;
    // Renamed: the text to start anew once it stopped.
    std::optional<std::string> renamed;
    bool waits = false;
  };

  std::string Paths() const;

  // The configuration files the paths name now, each once; stderr says which paths name a
  // file again.
  std::vector<std::string> Files() const;

  // The file of the configuration running or starting under `name`, else "".
  std::string TakenBy(const std::string& name) const;

  // A configuration of `name` that a reload stops, or hands a text of another name: until it
  // is done, who holds `name` after the reload is not known yet. Null when there is none.
  const RunningConfiguration* Freeing(const std::string& name) const;

  // The name of the configuration `file` holds, once it ran; else the file.
  std::string Named(const std::string& file);

  Shown* Find(const std::string& file);

  // The configuration of `file` that stops to start anew under another name, else null.
  Leaving* Renaming(const std::string& file);

  // Starts each (file, text) on a thread of its own, all at once; one whose name a reload
  // is freeing waits until the holder is done with it.
  void Begin(const std::vector<std::pair<std::string, std::string>>& texts);

  // Takes the starts that are done, or with `wait` all of them: what each says is shown,
  // and the failures of several. Gives the first failure among them.
  std::exception_ptr Collect(bool wait);

  // The configuration of `file` still starts, or still takes a text it was handed.
  bool Busy(const std::string& file) const;

  // Hands each file of rereads_ whose configuration is done starting or changing its text
  // as it reads now, when that changed; one that turned out renamed starts anew with it.
  void Reread();

  // Takes the reloads and stops that are done, or when `finishing` all of them, and says so,
  // after what the out-of-control checks of those stopped found in what they saved; the
  // service is ready once none is left of a reload but those of drivers that do not answer,
  // which are said to wait and are taken once their drivers come round. A configuration
  // renamed, and one that waited for a name this frees, start anew unless the run is
  // finishing: one that waited is then said not to run.
  void CollectChanges(bool finishing);

  // The configurations in the order of the paths.
  void InOrder();

  // Says once that no configuration runs, starts or is to start, once a reload or a start
  // that failed left the run so: it waits for the next reload.
  void SayIfIdle();

  void Started(Starting& start);

  // What a configuration still starting said since the last look: its driver does not
  // answer, or answers again.
  void ShowStarting(Starting& start);

  // "NAME: error" of the configuration whose error came last, of those the run holds now;
  // "" when none had any.
  std::string LastError() const;

  // The check's findings and the historian's status; a failure is the caller's to show.
  void Report(const RunningConfiguration& configuration,
              const RunningConfiguration::Outcome& outcome);

  // News of `shown`, or of the whole run for null: an event of `kind`, or a line.
  void Say(const Shown* shown, const char* kind, const std::string& what);
  // `stream`, for a line of its own: where a terminal shows the summary line, that is cleared
  // first, and shown again at the next look.
  std::ostream& Apart(std::ostream& stream);

  // A configuration of several that does not run, or does not change, and why: `so` says
  // what follows from it.
  void Skipped(const std::string& file, std::exception_ptr failure, const std::string& so);

  // Shows what changed in `shown` since its last look: its status line or event, its errors.
  void Show(Shown& shown, bool several);
  // Whether `shown`'s changed status line, `status`, goes to the output. In the journal each
  // line is an entry kept for weeks, and a line's counts and next collection change at every
  // collection: hundreds of lines at one a second would crowd out what matters and reach
  // journald's rate limit, which then drops the errors too. There a line is written at the
  // first collection and when its state, last error or losses change or its spool starts or
  // stops holding subgroups, and otherwise every kJournalStatusEvery; `systemctl status` and
  // the metrics keep the counts.
  bool Journals(Shown& shown, const RunningConfiguration::Status& status) const;
  static constexpr std::chrono::minutes kJournalStatusEvery{10};

  // Finishes the out-of-control checks of `stopped`, whose drivers stopped: what each found in
  // what its driver saved is told now. One still waiting on the SPC database 3 s on is left
  // behind and said so; gives those, whose callbacks may still come. `cancel`: the run stops,
  // and the process's database calls are cancelled meanwhile.
  std::set<const Shown*> FinishChecks(const std::vector<Shown*>& stopped, bool cancel);

  // A rule break found in what `shown` saved: a line, or an event.
  void OutOfControlFound(Shown& shown, const OutOfControl& found);

  // The out-of-control check of `shown` could not check: a line on stderr, or an event.
  void OutOfControlFailed(Shown& shown, const runtime::Error& error);

  const RunOptions& options_;
  const RunObservers& observers_;
  ServiceNotifier& service_;
  StopSignals& stop_;
  RunEvents runEvents_;
  const bool terminal_;
  const bool journal_;
  QObject context_;
  std::atomic<bool> lookPending_ = false;
  std::vector<std::unique_ptr<Shown>> running_;
  std::string shownSummary_;
  // The errors the run has taken from its configurations so far.
  uint64_t errorsTaken_ = 0;
  bool outputClosed_ = false;
  bool outputFailed_ = false;
  // Named more than one configuration: every line names its configuration.
  bool several_ = false;
  // The configuration files, in the order the paths give them.
  std::vector<std::string> order_;
  std::vector<Starting> starting_;
  std::vector<Reloading> reloading_;
  std::vector<Leaving> leaving_;
  // Files a reload found changed while their configurations still started or took an
  // earlier change: read again once that is done.
  std::set<std::string> rereads_;
  // Files to start once the reload that frees their names is done, with their texts.
  std::vector<std::pair<std::string, std::string>> waiting_;
  // Those of waiting_ said to wait since the last reload: said once each.
  std::set<std::string> waitSaid_;
  // Reloaded, and not yet told the service it is ready again.
  bool reloadUnderway_ = false;
  // Said "no configuration runs" since the last reload.
  bool idleSaid_ = false;
  // Why each configuration of the first start could not run, and, once each has started or
  // failed, the first one's failure when none runs.
  std::map<std::string, std::exception_ptr> failures_;
  std::exception_ptr noneRuns_;
  // What the configurations a reload stopped (removed, renamed) saved: the run's total
  // counts them too.
  int64_t savedByGone_ = 0;
  // The files of the drivers Finish left behind.
  std::vector<std::string> leftBehind_;
  bool checkLeftBehind_ = false;
  bool started_ = false;
};

}  // namespace dam
