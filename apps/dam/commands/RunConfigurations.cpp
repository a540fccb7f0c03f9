#include "apps/dam/commands/RunConfigurations.h"

#include <unistd.h>

#include <QCoreApplication>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <set>
#include <thread>

#include "apps/dam/commands/CheckFindings.h"
#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/ConfigurationName.h"
#include "apps/dam/host/ConfigurationPaths.h"
#include "apps/dam/host/JournalLines.h"
#include "apps/dam/host/LoopProgress.h"
#include "apps/dam/output/StatusLines.h"
#include "apps/shared/Failures.h"
#include "apps/shared/TerminalText.h"
#include "platform/components/LineFields.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "platform/odbc/OdbcCancel.h"
#include "runtime/Date.h"
#include "runtime/Error.h"

namespace dam {
namespace {

using namespace std::chrono_literals;

std::string Masked(const std::string& text) {
  return platform::MaskConnectionSecrets(text);
}

host::CheckFinding Masked(host::CheckFinding finding) {
  finding.text = Masked(finding.text);
  return finding;
}

// Waits for `future` until `deadline`; with `cancel`, the process's database calls are
// cancelled every half second meanwhile, as the run's stop has it.
template <class Future>
bool Settled(const Future& future, std::chrono::steady_clock::time_point deadline, bool cancel) {
  if (!cancel) return future.wait_until(deadline) == std::future_status::ready;
  for (;;) {
    const auto until = std::min(deadline, std::chrono::steady_clock::now() + 500ms);
    if (future.wait_until(until) == std::future_status::ready) return true;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    // Never on this thread: a cancel asks the server, and one that is frozen never answers.
    std::thread(platform::CancelRunningStatements).detach();
  }
}

}  // namespace

RunError FailureError(std::exception_ptr failure) {
  RunError said{Masked(apps::FailureText(failure, false)), 0, "dam run"};
  std::exception_ptr cause = failure;
  try {
    std::rethrow_exception(failure);
  } catch (const apps::Failure& e) {
    const auto* nested = dynamic_cast<const std::nested_exception*>(&e);
    cause = nested ? nested->nested_ptr() : nullptr;
  } catch (...) {
  }
  if (cause) {
    const runtime::Error error = runtime::ToError(cause);
    said.number = error.Number();
    said.source = Masked(error.Source());
  }
  return said;
}

RunConfigurations::RunConfigurations(const RunOptions& options, const RunObservers& observers,
                                     ServiceNotifier& service, StopSignals& stop)
    : options_(options),
      observers_(observers),
      service_(service),
      stop_(stop),
      runEvents_(std::cout, ""),
      terminal_(isatty(STDOUT_FILENO) != 0),
      journal_(IsJournalStream(STDOUT_FILENO)) {}

void RunConfigurations::Start() {
  const std::vector<std::string> files = Files();
  order_ = files;
  several_ = files.size() > 1;
  if (!several_) return Begin({{files[0], ReadConfigurationFile(files[0], false)}});
  const std::vector<ConfigurationRead> reads = ReadConfigurationFiles(files);
  std::vector<std::pair<std::string, std::string>> texts;
  for (size_t i = 0; i < files.size(); ++i) {
    if (!reads[i].failure) {
      texts.emplace_back(files[i], reads[i].text);
      continue;
    }
    Skipped(files[i], reads[i].failure, "; it does not run");
    failures_.emplace(files[i], reads[i].failure);
  }
  Begin(texts);
}

void RunConfigurations::Reload() {
  service_.Reloading();
  Say(nullptr, "reload", "reloading " + Paths());
  std::vector<std::string> files;
  try {
    files = Files();
  } catch (...) {
    Skipped(Paths(), std::current_exception(), "; every configuration runs on as it was");
    service_.Ready();
    return;
  }
  several_ = several_ || files.size() > 1;
  order_ = files;
  // Read again below, as they are now.
  waiting_.clear();
  waitSaid_.clear();
  const std::set<std::string> wanted(files.begin(), files.end());
  for (auto shown = running_.begin(); shown != running_.end();) {
    if (wanted.contains((*shown)->configuration->File())) {
      ++shown;
      continue;
    }
    std::erase_if(reloading_, [&](const Reloading& one) { return one.shown == shown->get(); });
    std::future<void> stopped = (*shown)->configuration->Stop();
    leaving_.push_back({std::move(*shown), std::move(stopped), std::nullopt});
    shown = running_.erase(shown);
  }
  // One still starting stops once its start is done: until then its name is not free.
  for (auto start = starting_.begin(); start != starting_.end();) {
    if (wanted.contains(start->configuration->File())) {
      ++start;
      continue;
    }
    auto shown = std::make_unique<Shown>();
    shown->configuration = std::move(start->configuration);
    std::future<void> stopped = shown->configuration->Stop();
    leaving_.push_back({std::move(shown), std::move(stopped), std::nullopt});
    start = starting_.erase(start);
  }
  // One renamed and still stopping starts anew with its file's text as the stop finds it.
  for (Leaving& leaving : leaving_) {
    if (!wanted.contains(leaving.shown->configuration->File())) leaving.renamed.reset();
  }
  std::vector<std::pair<std::string, std::string>> added;
  const std::vector<ConfigurationRead> reads = ReadConfigurationFiles(files);
  for (size_t i = 0; i < files.size(); ++i) {
    const std::string& file = files[i];
    const std::string& text = reads[i].text;
    Shown* shown = Find(file);
    if (reads[i].failure) {
      Skipped(file, reads[i].failure, shown ? "; it runs on as it was" : "; it does not run");
      continue;
    }
    if (Leaving* renamed = Renaming(file)) {
      renamed->renamed = text;
      continue;
    }
    const bool busy = Busy(file);
    if (!shown && !busy) {
      added.emplace_back(file, text);
      continue;
    }
    // One still starting or taking an earlier change takes this one once it is done.
    if (busy) {
      rereads_.insert(file);
      continue;
    }
    if (shown->configuration->Text() == text) continue;
    reloading_.push_back({shown, text, shown->configuration->Reload(text)});
  }
  Begin(added);
  InOrder();
  reloadUnderway_ = true;
  idleSaid_ = false;
  CollectChanges(false);
}

void RunConfigurations::CollectChanges(bool finishing) {
  const auto done = [finishing](const auto& future) {
    return finishing || future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  };
  // Those stopped for good, with what the run says of them once their checks are done.
  struct Gone {
    std::unique_ptr<Shown> shown;
    const char* kind;
    std::string what;
  };
  std::vector<Gone> gone;
  // Those that waited for the names this collects, and those renamed: each starts once no
  // other holds its name or may still give it up.
  const std::vector<std::pair<std::string, std::string>> waited = std::exchange(waiting_, {});
  std::vector<std::pair<std::string, std::string>> anew;
  for (auto reload = reloading_.begin(); reload != reloading_.end();) {
    if (!done(reload->outcome)) {
      ++reload;
      continue;
    }
    Shown* shown = reload->shown;
    const RunningConfiguration::Outcome outcome = reload->outcome.get();
    Report(*shown->configuration, outcome);
    if (outcome.failure) Skipped(shown->configuration->File(), outcome.failure, "");
    if (outcome.renamed) {
      // Counted once stopped, as a removed one: a collection under way may still save.
      const auto at = std::find_if(running_.begin(), running_.end(),
                                   [&](const auto& one) { return one.get() == shown; });
      std::future<void> stopped = shown->configuration->Stop();
      leaving_.push_back({std::move(*at), std::move(stopped), reload->text});
      running_.erase(at);
    }
    reload = reloading_.erase(reload);
  }
  // Before a renamed one starts anew: it takes the text its file holds now.
  if (!finishing) Reread();
  // A stop that waits on a database never holds up the run's thread: at the run's end it is
  // waited for as the others are, and left behind after that.
  const auto deadline = std::chrono::steady_clock::now() + 5s;
  for (auto leaving = leaving_.begin(); leaving != leaving_.end();) {
    const bool stopped =
        finishing ? Settled(leaving->stopped, deadline, true)
                  : leaving->stopped.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    if (!stopped && !finishing) {
      ++leaving;
      continue;
    }
    RunningConfiguration& configuration = *leaving->shown->configuration;
    const int64_t saved = configuration.Look().saved;
    savedByGone_ += saved;
    if (!stopped) {
      leftBehind_.push_back(configuration.File());
      static_cast<void>(leaving->shown.release());
    } else if (!leaving->renamed) {
      gone.push_back({std::move(leaving->shown), "removed",
                      "removed: stopped after " + std::to_string(saved) + " subgroup(s)"});
    } else if (finishing) {
      gone.push_back({std::move(leaving->shown), "renamed",
                      "renamed: stopped; the run stops before it starts again"});
    } else {
      anew.emplace_back(configuration.File(), *leaving->renamed);
      gone.push_back({std::move(leaving->shown), "renamed", "renamed: stopped, to start again"});
    }
    leaving = leaving_.erase(leaving);
  }
  // What they saved up to their stop is checked and told before they go, as at the run's end.
  std::vector<Shown*> stopped;
  for (const Gone& one : gone) {
    // Its status as it stopped: a collection under way may have saved once more.
    Show(*one.shown, several_);
    stopped.push_back(one.shown.get());
  }
  const std::set<const Shown*> behind = FinishChecks(stopped, finishing);
  for (Gone& one : gone) {
    Say(one.shown.get(), one.kind, one.what);
    if (observers_.board) observers_.board->Remove(one.shown->configuration->Name());
    // A check left behind still reports to its configuration once its database answers.
    if (behind.contains(one.shown.get())) static_cast<void>(one.shown.release());
  }
  if (finishing) {
    for (const auto& [file, text] : waited) {
      Skipped(file,
              std::make_exception_ptr(apps::Failure(
                  apps::kExitFailure, "the run stopped while it waited for its name " +
                                          ConfigurationNameIn(file, text) + " to be freed")),
              "; it does not run");
    }
    return;
  }
  Begin(waited);
  Begin(anew);
  // A driver inside a database call that does not answer takes its change once it comes
  // round: the service manager is not kept waiting for that.
  for (Reloading& reload : reloading_) {
    if (reload.waits || !reload.shown->configuration->NotAnswering()) continue;
    reload.waits = true;
    Say(reload.shown, "message", "not answering: its change is taken once it answers again");
  }
  for (Leaving& leaving : leaving_) {
    if (leaving.waits || !leaving.shown->configuration->NotAnswering()) continue;
    leaving.waits = true;
    Say(leaving.shown.get(), "message", "not answering: it stops once it answers again");
  }
  const auto waits = [](const auto& change) { return change.waits; };
  if (!reloadUnderway_ || !std::all_of(reloading_.begin(), reloading_.end(), waits) ||
      !std::all_of(leaving_.begin(), leaving_.end(), waits)) {
    return;
  }
  reloadUnderway_ = false;
  service_.Ready();
  LookSoon();
}

void RunConfigurations::SayIfIdle() {
  const bool idle = !reloadUnderway_ && running_.empty() && starting_.empty() && waiting_.empty() &&
                    std::none_of(leaving_.begin(), leaving_.end(),
                                 [](const Leaving& one) { return one.renamed.has_value(); });
  if (idle && !idleSaid_) Say(nullptr, "message", "no configuration runs");
  idleSaid_ = idle;
}

void RunConfigurations::LookSoon() {
  if (lookPending_.exchange(true)) return;
  QMetaObject::invokeMethod(
      &context_, [this] { Look(); }, Qt::QueuedConnection);
}

void RunConfigurations::Look() {
  lookPending_ = false;
  // A look that blocks (an output nobody reads) is a stuck loop to the watchdog.
  const LoopProgress::InEvent inEvent;
  Collect(false);
  CollectChanges(false);
  if (!started_ && starting_.empty()) {
    started_ = true;
    if (running_.empty()) {
      // The first in the order of the paths.
      for (const std::string& file : order_) {
        if (failures_.contains(file) && !noneRuns_) noneRuns_ = failures_.at(file);
      }
      QCoreApplication::quit();
      return;
    }
  }
  SayIfIdle();
  const bool several = several_ || running_.size() > 1;
  for (Starting& start : starting_) ShowStarting(start);
  bool allSaved = options_.subgroups > 0 && starting_.empty();
  std::vector<const RunningConfiguration::Status*> statuses;
  for (const std::unique_ptr<Shown>& shown : running_) {
    RunningConfiguration& configuration = *shown->configuration;
    // Of hundreds, most did nothing since the last look.
    if (configuration.TakeNews() || !shown->status) Show(*shown, several);
    statuses.push_back(&*shown->status);
    allSaved = allSaved && shown->status->saved >= options_.subgroups;
  }
  // A status's state is "starting" until its driver runs.
  const std::vector<RunningConfiguration::Status> starting(starting_.size());
  for (const RunningConfiguration::Status& status : starting) statuses.push_back(&status);
  // Those a reload stops still count what they saved.
  int64_t savedByGone = savedByGone_;
  for (const Leaving& leaving : leaving_) savedByGone += leaving.shown->configuration->Look().saved;
  const std::string summary = several || running_.empty()
                                  ? SummaryLine(statuses, savedByGone, LastError())
                                  : running_[0]->line;
  if (!options_.ndjson && terminal_ && summary != shownSummary_) {
    std::cout << "\r\033[K" << summary << std::flush;
  }
  shownSummary_ = summary;
  service_.Status(summary);
  if (!outputClosed_ && OutputClosed(STDOUT_FILENO)) {
    outputClosed_ = true;
    std::cerr << "dam run: the output was closed; stopping" << std::endl;
  }
  // A redirected output on a full disk: the drivers collect on, and the run's end says it.
  if (!outputClosed_ && !outputFailed_ && (!std::cout || std::ferror(stdout))) {
    outputFailed_ = true;
    std::cerr << "dam run: the output cannot be written: what it would show is lost; collecting on"
              << std::endl;
  }
  if (stop_.Requested() || outputClosed_ || allSaved) QCoreApplication::quit();
}

void RunConfigurations::Show(Shown& shown, bool several) {
  RunningConfiguration& configuration = *shown.configuration;
  const RunningConfiguration::Status status = configuration.Look();
  const std::vector<RunError> errors = configuration.TakeErrors();
  if (errors.empty() && shown.status == status) return;
  shown.status = status;
  if (!errors.empty()) shown.errorAt = ++errorsTaken_;
  if (status.unavailable != shown.unavailable && !status.unavailable.empty()) {
    if (shown.events) {
      shown.events->Error({"status unavailable: " + status.unavailable, 0, "dam run"});
    } else {
      Apart(std::cerr) << "dam run: " << (several ? configuration.Name() + ": " : "")
                       << "status unavailable: " << status.unavailable << std::endl;
    }
  }
  shown.unavailable = status.unavailable;
  if (shown.events && status.unavailable.empty()) {
    shown.events->Write(status.state, status.saved, status.spooled, status.lost, status.next,
                        errors);
  }
  const std::string line = StatusLine(status);
  if (!options_.ndjson && !terminal_ && line != shown.line && Journals(shown, status)) {
    const platform::LineNote note(
        {.configuration = configuration.Name(), .collectionTime = status.lastCollection});
    std::cout << (several ? configuration.Name() + ": " : "") << line << std::endl;
  }
  shown.line = line;
  if (shown.outOfControl && status.saved != shown.checkedAt) shown.outOfControl->Saved();
  shown.checkedAt = status.saved;
}

bool RunConfigurations::Journals(Shown& shown, const RunningConfiguration::Status& status) const {
  if (!journal_) return true;
  std::string matters = status.state + '\n' + status.lastError + '\n' +
                        std::to_string(status.lost) + (status.spooled > 0 ? "\nspooling" : "") +
                        (status.lastCollection ? "\ncollected" : "");
  const auto now = std::chrono::steady_clock::now();
  if (matters == shown.journaled && now - shown.journaledAt < kJournalStatusEvery) return false;
  shown.journaled = std::move(matters);
  shown.journaledAt = now;
  return true;
}

int RunConfigurations::Finish() {
  // A database call is cancelled, a connect is not: one that does not answer (with no login
  // timeout, for good) holds its driver's thread until the process ends.
  auto deadline = std::chrono::steady_clock::now() + 1s;
  const auto settled = [&deadline](const auto& future) { return Settled(future, deadline, true); };
  const auto leave = [](std::unique_ptr<RunningConfiguration>& configuration) {
    // Its thread is inside the driver: nothing may join it, the process ends around it.
    static_cast<void>(configuration.release());
  };
  for (auto start = starting_.begin(); start != starting_.end();) {
    if (settled(start->outcome)) {
      ++start;
      continue;
    }
    leftBehind_.push_back(start->configuration->File());
    leave(start->configuration);
    start = starting_.erase(start);
  }
  std::set<const Shown*> hung;
  for (auto reload = reloading_.begin(); reload != reloading_.end();) {
    if (settled(reload->outcome)) {
      ++reload;
      continue;
    }
    hung.insert(reload->shown);
    leftBehind_.push_back(reload->shown->configuration->File());
    reload = reloading_.erase(reload);
  }
  for (auto leaving = leaving_.begin(); leaving != leaving_.end();) {
    if (settled(leaving->stopped)) {
      ++leaving;
      continue;
    }
    savedByGone_ += leaving->shown->configuration->Look().saved;
    leftBehind_.push_back(leaving->shown->configuration->File());
    // Its check, on the same database, may be waiting as well: nothing of it may be joined.
    static_cast<void>(leaving->shown.release());
    leaving = leaving_.erase(leaving);
  }
  Collect(true);
  CollectChanges(true);
  std::vector<std::pair<const Shown*, std::future<void>>> stopping;
  for (const std::unique_ptr<Shown>& shown : running_) {
    if (!hung.contains(shown.get()))
      stopping.emplace_back(shown.get(), shown->configuration->Stop());
  }
  // A driver whose database stopped answering (a server frozen, not down) is not waited
  // for past systemd's patience: the others stop, and the process ends around it.
  deadline = std::chrono::steady_clock::now() + 5s;
  bool anyStopped = false;
  for (auto& [shown, stopped] : stopping) {
    if (settled(stopped)) {
      anyStopped = true;
      continue;
    }
    hung.insert(shown);
    leftBehind_.push_back(shown->configuration->File());
  }
  // What the drivers saved up to their stop is checked, and told before the run says it
  // stopped.
  std::vector<Shown*> stopped;
  for (const std::unique_ptr<Shown>& shown : running_) stopped.push_back(shown.get());
  FinishChecks(stopped, true);
  stop_.Stopped();
  for (const std::string& file : leftBehind_) {
    Skipped(
        file,
        std::make_exception_ptr(apps::Failure(
            apps::kExitUnreachable, "stopped while it waited on a database that does not answer")),
        "");
  }
  if (noneRuns_ && leftBehind_.empty()) std::rethrow_exception(noneRuns_);
  // The status line on a terminal ends here.
  if (terminal_ && !options_.ndjson) std::cout << '\n';
  int64_t saved = savedByGone_;
  for (const std::unique_ptr<Shown>& shown : running_) {
    const RunningConfiguration::Status status = shown->configuration->Look();
    saved += status.saved;
    // One left behind did not stop: stderr said so above.
    if (hung.contains(shown.get())) continue;
    if (shown->events) {
      shown->events->Write("stopped", status.saved, status.spooled, status.lost, "", {});
    }
    if (several_ && !options_.ndjson) {
      Say(shown.get(), "stopped", "stopped after " + std::to_string(status.saved) + " subgroup(s)");
    }
  }
  // A milestone of the run: a notice to the journal, of its configuration when it has one.
  const platform::LineNote notice(
      {.configuration = running_.size() == 1 ? running_[0]->configuration->Name() : "",
       .priority = platform::kLineNotice});
  if (options_.ndjson) {
    runEvents_.Stopped(saved);
    // An output that was closed takes no event: stderr, as --ndjson has it, says it then.
    if (!std::cout) std::cerr << "stopped after " << saved << " subgroup(s)" << std::endl;
  } else {
    std::cout << "stopped after " << saved << " subgroup(s)" << std::endl;
  }
  for (const std::unique_ptr<Shown>& shown : running_) {
    if (hung.contains(shown.get())) leave(shown->configuration);
  }
  running_.clear();
  if (outputClosed_) return apps::kExitOutputClosed;
  // A restart may find the database answering again.
  return !anyStopped && !leftBehind_.empty() ? apps::kExitUnreachable : apps::kExitOk;
}

std::set<const RunConfigurations::Shown*> RunConfigurations::FinishChecks(
    const std::vector<Shown*>& stopped, bool cancel) {
  std::vector<std::pair<Shown*, std::future<void>>> checking;
  for (Shown* shown : stopped) {
    if (shown->outOfControl) checking.emplace_back(shown, shown->outOfControl->Finish());
  }
  const auto deadline = std::chrono::steady_clock::now() + 3s;
  std::set<const Shown*> behind;
  for (auto& [shown, checked] : checking) {
    const bool done = Settled(checked, deadline, cancel);
    shown->outOfControl->TellNow();
    if (done) continue;
    static_cast<void>(shown->outOfControl.release());
    checkLeftBehind_ = true;
    behind.insert(shown);
    OutOfControlFailed(
        *shown, runtime::Error(0, "stopped while it waited on a database that does not answer"));
  }
  return behind;
}

std::string RunConfigurations::Paths() const {
  std::string paths;
  for (const std::string& path : options_.configs) paths += (paths.empty() ? "" : " ") + path;
  return paths;
}

std::vector<std::string> RunConfigurations::Files() const {
  ConfigurationFileList list = ConfigurationFiles(options_.configs);
  for (const ConfigurationFileList::Again& again : list.again) {
    std::cerr << "dam run: " << apps::Printable(again.path + ": the same file as " + again.first)
              << "; it runs once" << std::endl;
  }
  for (const ConfigurationFileList::PassedOver& over : list.passedOver) {
    std::cerr << "dam run: " << apps::Printable(over.folder + ": " + PassedOverText(over))
              << std::endl;
  }
  return std::move(list.files);
}

std::string RunConfigurations::TakenBy(const std::string& name) const {
  for (const std::unique_ptr<Shown>& shown : running_) {
    if (shown->configuration->Name() == name) return shown->configuration->File();
  }
  for (const Starting& start : starting_) {
    if (start.name == name) return start.configuration->File();
  }
  return "";
}

const RunningConfiguration* RunConfigurations::Freeing(const std::string& name) const {
  for (const Leaving& one : leaving_) {
    if (one.shown->configuration->Name() == name) return one.shown->configuration.get();
  }
  for (const Reloading& one : reloading_) {
    const RunningConfiguration& holder = *one.shown->configuration;
    if (holder.Name() == name && ConfigurationNameIn(holder.File(), one.text) != name) {
      return &holder;
    }
  }
  return nullptr;
}

std::string RunConfigurations::Named(const std::string& file) {
  const Shown* shown = Find(file);
  return shown ? shown->configuration->Name() : file;
}

RunConfigurations::Leaving* RunConfigurations::Renaming(const std::string& file) {
  const auto renamed = std::find_if(leaving_.begin(), leaving_.end(), [&](const Leaving& one) {
    return one.renamed && one.shown->configuration->File() == file;
  });
  return renamed == leaving_.end() ? nullptr : &*renamed;
}

RunConfigurations::Shown* RunConfigurations::Find(const std::string& file) {
  for (const std::unique_ptr<Shown>& shown : running_) {
    if (shown->configuration->File() == file) return shown.get();
  }
  return nullptr;
}

void RunConfigurations::Begin(const std::vector<std::pair<std::string, std::string>>& texts) {
  for (const auto& [file, text] : texts) {
    const std::string name = ConfigurationNameIn(file, text);
    if (const RunningConfiguration* holder = Freeing(name)) {
      if (waitSaid_.insert(file).second) {
        Say(nullptr, "message",
            file + ": waits for its name " + name + " to be freed" +
                (holder->NotAnswering() ? " by " + holder->File() + ", which does not answer"
                                        : ""));
      }
      waiting_.emplace_back(file, text);
      continue;
    }
    if (const std::string first = TakenBy(name); !first.empty()) {
      const std::exception_ptr failure = std::make_exception_ptr(
          apps::Failure(apps::kExitInvalidConfiguration, SameNameText(name, first)));
      Skipped(file, failure, "; it does not run");
      if (!started_) failures_.emplace(file, failure);
      continue;
    }
    auto configuration = std::make_unique<RunningConfiguration>(
        file,
        RunningConfiguration::Settings{options_.spc, options_.driverClass, options_.force,
                                       options_.activity, observers_.board},
        service_, [this] { LookSoon(); });
    // Until its driver runs, the health check names it: a start that waits on a database is
    // no running line.
    if (observers_.board) {
      ConfigurationMetrics starting;
      starting.state = "starting";
      observers_.board->Publish(name, starting);
    }
    std::future<RunningConfiguration::Outcome> outcome = configuration->Start(text);
    starting_.push_back({std::move(configuration), std::move(outcome), name});
  }
}

std::exception_ptr RunConfigurations::Collect(bool wait) {
  std::exception_ptr failure;
  bool collected = false;
  for (auto start = starting_.begin(); start != starting_.end();) {
    if (!wait && start->outcome.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
      ++start;
      continue;
    }
    const RunningConfiguration::Outcome outcome = start->outcome.get();
    Report(*start->configuration, outcome);
    if (outcome.failure) {
      if (observers_.board) observers_.board->Remove(start->name);
      if (!failure) failure = outcome.failure;
      if (!started_) failures_.emplace(start->configuration->File(), outcome.failure);
      // A run of one fails as its first start does; after that it runs on, and says why.
      if (several_ || started_) {
        Skipped(start->configuration->File(), outcome.failure, "; it does not run");
      }
    } else {
      Started(*start);
    }
    start = starting_.erase(start);
    collected = true;
  }
  if (collected) InOrder();
  return failure;
}

void RunConfigurations::Reread() {
  for (auto file = rereads_.begin(); file != rereads_.end();) {
    if (Busy(*file)) {
      ++file;
      continue;
    }
    Leaving* renamed = Renaming(*file);
    if (Shown* shown = Find(*file); shown || renamed) {
      try {
        const std::string text = ReadConfigurationFile(*file, false);
        if (renamed) {
          renamed->renamed = text;
        } else if (text != shown->configuration->Text()) {
          reloading_.push_back({shown, text, shown->configuration->Reload(text)});
        }
      } catch (...) {
        Skipped(*file, std::current_exception(),
                renamed ? "; it starts anew as it read before" : "; it runs on as it was");
      }
    }
    file = rereads_.erase(file);
  }
}

bool RunConfigurations::Busy(const std::string& file) const {
  return std::any_of(starting_.begin(), starting_.end(),
                     [&](const Starting& start) { return start.configuration->File() == file; }) ||
         std::any_of(reloading_.begin(), reloading_.end(), [&](const Reloading& reload) {
           return reload.shown->configuration->File() == file;
         });
}

void RunConfigurations::InOrder() {
  // Looked up once each: a run of hundreds sorts at every start it collects.
  std::map<std::string, size_t> position;
  for (size_t i = 0; i < order_.size(); ++i) position.emplace(order_[i], i);
  const auto at = [&](const std::unique_ptr<Shown>& shown) {
    const auto found = position.find(shown->configuration->File());
    return found == position.end() ? order_.size() : found->second;
  };
  std::stable_sort(running_.begin(), running_.end(),
                   [&](const auto& a, const auto& b) { return at(a) < at(b); });
}

void RunConfigurations::Started(Starting& start) {
  std::unique_ptr<RunningConfiguration>& configuration = start.configuration;
  auto shown = std::make_unique<Shown>();
  shown->errorAt = start.errorAt;
  if (options_.ndjson) shown->events.emplace(std::cout, configuration->Name());
  if (observers_.rules) {
    Shown* told = shown.get();
    shown->outOfControl = std::make_unique<OutOfControlCheck>(
        observers_.spc, observers_.policy, configuration->Name(), *observers_.rules,
        [this, told](const OutOfControl& found) { OutOfControlFound(*told, found); },
        [this, told](const runtime::Error& error) { OutOfControlFailed(*told, error); });
  }
  shown->configuration = std::move(configuration);
  running_.push_back(std::move(shown));
}

void RunConfigurations::ShowStarting(Starting& start) {
  if (!start.configuration->TakeNews()) return;
  const std::vector<RunError> errors = start.configuration->TakeErrors();
  if (errors.empty()) return;
  start.errorAt = ++errorsTaken_;
  start.lastError = errors.back().message;
  for (const RunError& error : errors) {
    if (options_.ndjson) {
      RunEvents(std::cout, start.name).Error(error);
    } else {
      Apart(std::cerr) << "dam run: " << (several_ ? start.name + ": " : "")
                       << apps::Printable(error.message) << std::endl;
    }
  }
}

std::string RunConfigurations::LastError() const {
  uint64_t newest = 0;
  std::string said;
  for (const std::unique_ptr<Shown>& shown : running_) {
    if (shown->errorAt <= newest) continue;
    newest = shown->errorAt;
    said = shown->configuration->Name() + ": " + shown->status->lastError;
  }
  for (const Starting& start : starting_) {
    if (start.errorAt <= newest) continue;
    newest = start.errorAt;
    said = start.name + ": " + start.lastError;
  }
  return said;
}

void RunConfigurations::Report(const RunningConfiguration& configuration,
                               const RunningConfiguration::Outcome& outcome) {
  RunEvents events(std::cout, configuration.Name());
  for (const host::CheckFinding& finding : outcome.findings) {
    if (options_.ndjson) {
      events.Finding(configuration.File(), Masked(finding));
    } else {
      Apart(std::cerr) << apps::Printable(Masked(FormatFinding(configuration.File(), finding)))
                       << '\n';
    }
  }
  if (outcome.historian.empty()) return;
  // A milestone of the run: a notice to the journal.
  const platform::LineNote notice(
      {.configuration = configuration.Name(), .priority = platform::kLineNotice});
  if (options_.ndjson) {
    events.Historian(outcome.historian);
  } else {
    Apart(std::cout) << (several_ ? configuration.Name() + ": " : "")
                     << "historian: " << outcome.historian << std::endl;
  }
}

void RunConfigurations::Say(const Shown* shown, const char* kind, const std::string& what) {
  const std::string name = shown ? shown->configuration->Name() : "";
  if (options_.ndjson) {
    RunEvents(std::cout, name).Note(kind, what);
  } else {
    Apart(std::cout) << (shown ? name + ": " : "") << what << std::endl;
  }
}

std::ostream& RunConfigurations::Apart(std::ostream& stream) {
  if (terminal_ && !options_.ndjson && !shownSummary_.empty()) {
    std::cout << "\r\033[K" << std::flush;
    shownSummary_.clear();
  }
  return stream;
}

void RunConfigurations::Skipped(const std::string& file, std::exception_ptr failure,
                                const std::string& so) {
  RunError error = FailureError(failure);
  if (options_.ndjson) {
    error.message = file + ": " + error.message + so;
    RunEvents(std::cout, Named(file)).Error(error);
  } else {
    Apart(std::cerr) << "dam run: " << file << ": " << apps::Printable(error.message) << so
                     << std::endl;
  }
}

void RunConfigurations::OutOfControlFound(Shown& shown, const OutOfControl& found) {
  if (shown.events) return shown.events->OutOfControl(found);
  std::string broken;
  if (found.rules) broken = "rules " + platform::RulesText(found.rules);
  if (found.spreadRules) {
    broken += (broken.empty() ? "" : "; ") + std::string("spread chart rule ") +
              platform::RulesText(found.spreadRules);
  }
  const platform::LineNote note({.configuration = found.configuration,
                                 .collectionTime = found.time,
                                 .priority = platform::kLineWarning});
  Apart(std::cout) << apps::Printable("out of control: " + found.configuration + " " + found.test +
                                      " at " + runtime::FormatGeneralDate(found.time) + " breaks " +
                                      broken)
                   << std::endl;
}

void RunConfigurations::OutOfControlFailed(Shown& shown, const runtime::Error& error) {
  const platform::LineNote note({.configuration = shown.configuration->Name(),
                                 .errorNumber = error.Number(),
                                 .sqlState = error.SqlState()});
  // A failure of dam's own has no number to show.
  const std::string reason =
      Masked(error.Number() ? error.NumberAndDescription() : error.Description());
  if (shown.events) {
    shown.events->Error({"the out-of-control check failed: " + reason, error.Number(), "dam run"});
  } else {
    Apart(std::cerr) << "dam run: " << (several_ ? shown.configuration->Name() + ": " : "")
                     << "the out-of-control check failed: " << reason << std::endl;
  }
}

}  // namespace dam
