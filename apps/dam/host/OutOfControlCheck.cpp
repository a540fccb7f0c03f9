#include "apps/dam/host/OutOfControlCheck.h"

#include <QCoreApplication>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/spcdb/SpcChart.h"
#include "platform/spcdb/SpcChartReader.h"
#include "platform/spcdb/SpcNewSubgroupReader.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSession.h"

namespace dam {
namespace {

// The rule breaks of `subgroup`'s points on the charts of its tests.
std::vector<OutOfControl> Check(platform::SpcSession& session,
                                const platform::SpcSubgroupData& subgroup,
                                const std::string& configuration, platform::SpcRules rules,
                                int32_t window) {
  std::vector<OutOfControl> found;
  std::map<std::pair<std::string, std::string>, bool> checked;
  for (const platform::SpcReading& reading : subgroup.readings) {
    if (!checked.emplace(std::pair(reading.testGroup, reading.test), true).second) continue;
    const std::optional<platform::SpcChartTest> test =
        platform::FindChartTest(session, reading.testGroup, reading.test);
    if (!test) continue;
    const platform::SpcChart chart = platform::ComputeChart(
        platform::ReadChartWindow(
            session, test->id,
            {.last = window, .upTo = subgroup.id, .configuration = configuration}),
        {.rules = rules});
    for (const platform::SpcChartPoint& point : chart.points) {
      if (point.id == subgroup.id && (point.rules || point.spreadRules)) {
        found.push_back({configuration, test->group + "/" + test->name, subgroup.time, point.rules,
                         point.spreadRules});
      }
    }
  }
  return found;
}

}  // namespace

OutOfControlCheck::OutOfControlCheck(std::string spc, platform::OdbcPolicy policy,
                                     std::string configuration, platform::SpcRules rules,
                                     Report report, Failed failed, int32_t window)
    : spc_(std::move(spc)),
      policy_(policy),
      configuration_(std::move(configuration)),
      rules_(rules),
      window_(window),
      report_(std::move(report)),
      failed_(std::move(failed)),
      thread_([this] { Run(); }) {
  std::unique_lock lock(mutex_);
  wake_.wait(lock, [this] { return started_; });
}

OutOfControlCheck::~OutOfControlCheck() {
  {
    std::lock_guard lock(mutex_);
    stop_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

void OutOfControlCheck::Saved() {
  {
    std::lock_guard lock(mutex_);
    saved_ = true;
  }
  wake_.notify_all();
}

std::future<void> OutOfControlCheck::Finish() {
  {
    std::lock_guard lock(mutex_);
    finishing_ = true;
  }
  wake_.notify_all();
  return finished_.get_future();
}

void OutOfControlCheck::TellNow() {
  QCoreApplication::sendPostedEvents(&owner_, QEvent::MetaCall);
}

void OutOfControlCheck::Tell(std::function<void()> tell) {
  QMetaObject::invokeMethod(&owner_, std::move(tell), Qt::QueuedConnection);
}

void OutOfControlCheck::Run() {
  platform::SpcSession session;
  session.KeepOwnConnection();
  session.Settings().SetConnection(spc_);
  session.Settings().SetOdbcPolicy(policy_);
  std::unique_ptr<platform::SpcNewSubgroupReader> reader;
  const auto fail = [&] {
    Tell([this, error = runtime::ToError(std::current_exception())] { failed_(error); });
  };
  // Where the database stands: what is saved from here on is checked.
  const auto start = [&] {
    try {
      session.Open(1, 0);
      reader = std::make_unique<platform::SpcNewSubgroupReader>(session,
                                                                platform::LastSubgroupId(session));
    } catch (...) {
      fail();
    }
  };
  start();
  {
    std::lock_guard lock(mutex_);
    started_ = true;
  }
  wake_.notify_all();
  // The last round reads what was saved while the drivers stopped, told or not.
  for (bool last = false; !last;) {
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return saved_ || stop_ || finishing_; });
      if (stop_) return;
      last = finishing_;
      saved_ = false;
    }
    if (!reader) {
      start();
      continue;
    }
    std::vector<platform::SpcSubgroupData> saved;
    try {
      saved = reader->Poll(platform::SpcNewSubgroupReader::Clock::now());
    } catch (...) {
      fail();
    }
    // A subgroup that cannot be checked is reported and the others are still checked.
    for (const platform::SpcSubgroupData& subgroup : saved) {
      if (subgroup.configuration != configuration_) continue;
      try {
        for (const OutOfControl& found :
             Check(session, subgroup, configuration_, rules_, window_)) {
          Tell([this, found] { report_(found); });
        }
      } catch (...) {
        fail();
      }
    }
  }
  finished_.set_value();
}

}  // namespace dam
