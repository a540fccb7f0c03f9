// dam run as a systemd service: the notifications the service manager waits for, through a
// real notification socket, the priority prefixes the journal reads, and the signal thread
// that stops the run.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

#include "apps/dam/JournalLines.h"
#include "apps/dam/ServiceNotifier.h"
#include "apps/dam/StopSignals.h"
#include "tests/dam/DamProcesses.h"

namespace {

using namespace std::chrono_literals;

// The service manager's end of NOTIFY_SOCKET: a datagram socket bound in a folder of its own.
class NotifySocket {
 public:
  explicit NotifySocket(const std::string& path) : path_(path) {
    fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0) << path;
  }
  ~NotifySocket() { close(fd_); }
  const std::string& Path() const { return path_; }

  // Every message received so far.
  std::vector<std::string> Received() {
    char buffer[4096];
    for (ssize_t size; (size = recv(fd_, buffer, sizeof buffer, 0)) > 0;) {
      messages_.emplace_back(buffer, static_cast<size_t>(size));
    }
    return messages_;
  }

 private:
  std::string path_;
  int fd_ = -1;
  std::vector<std::string> messages_;
};

long Count(const std::vector<std::string>& messages, const std::string& message) {
  return std::count(messages.begin(), messages.end(), message);
}

void EnsureApplication() {
  static int argc = 1;
  static char name[] = "test_dam";
  static char* argv[] = {name, nullptr};
  if (QCoreApplication::instance() == nullptr) new QCoreApplication(argc, argv);
}

// Runs the event loop for `milliseconds`, reading what `manager` receives as it comes, as
// the service manager does: a queue nobody reads blocks the sender.
void RunEventLoop(int milliseconds, NotifySocket& manager) {
  QEventLoop loop;
  QTimer reader;
  QObject::connect(&reader, &QTimer::timeout, [&] { manager.Received(); });
  reader.start(10);
  QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
  loop.exec();
}

TEST(ServiceNotifier, TellsTheManagerReadyStatusChangesWatchdogPingsAndStopping) {
  EnsureApplication();
  testsupport::TempFolder folder;
  NotifySocket manager(folder.File("notify"));
  setenv("NOTIFY_SOCKET", manager.Path().c_str(), 1);
  setenv("WATCHDOG_USEC", "100000", 1);
  setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
  {
    dam::ServiceNotifier service;
    service.Ready();
    service.Status("running | saved 0");
    service.Status("running | saved 0");
    service.Status("running | saved 1");
    RunEventLoop(400, manager);
    service.Stopping();
    RunEventLoop(150, manager);
  }
  const std::vector<std::string> sent = manager.Received();
  std::vector<std::string> withoutPings;
  std::copy_if(sent.begin(), sent.end(), std::back_inserter(withoutPings),
               [](const std::string& m) { return m != "WATCHDOG=1"; });
  EXPECT_EQ(withoutPings, (std::vector<std::string>{"READY=1", "STATUS=running | saved 0",
                                                    "STATUS=running | saved 1", "STOPPING=1"}))
      << "a status is sent when it changes";
  // Every 50 ms for 400 ms, and none once stopping; none unasked for: ServiceRun.
  EXPECT_GE(Count(sent, "WATCHDOG=1"), 2) << "half of the 100 ms interval";
  EXPECT_NE(sent.back(), "WATCHDOG=1");
  for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) unsetenv(name);
}

TEST(JournalLines, EveryLineStartsWithItsPriorityHoweverItIsWritten) {
  const struct {
    std::vector<std::string> pieces;
    std::string expected;
  } cases[] = {
      {{"one\n"}, "<6>one\n"},
      {{"one\ntwo\n"}, "<6>one\n<6>two\n"},
      {{"o", "ne", "\n", "two"}, "<6>one\n<6>two"},
      {{"\n\n"}, "<6>\n<6>\n"},
      {{}, ""},
  };
  for (const auto& c : cases) {
    std::ostringstream target;
    dam::LinePrefixBuffer buffer(target.rdbuf(), "<6>");
    std::ostream out(&buffer);
    for (const std::string& piece : c.pieces) {
      piece.size() == 1 ? out.put(piece[0]) : out << piece;
    }
    out.flush();
    EXPECT_EQ(target.str(), c.expected);
  }
}

// A stream of another file: ServiceRun's plain run.
TEST(JournalLines, OnlyTheStreamJournalStreamNamesIsTheJournals) {
  testsupport::TempFolder folder;
  std::ofstream(folder.File("out")) << "";
  const int fd = open(folder.File("out").c_str(), O_WRONLY | O_CLOEXEC);
  struct stat out {};
  ASSERT_EQ(fstat(fd, &out), 0);
  const std::string name = std::to_string(out.st_dev) + ":" + std::to_string(out.st_ino);
  const struct {
    std::optional<std::string> journalStream;
    bool journal;
  } cases[] = {{name, true},
               {name + "x", false},
               {std::to_string(out.st_ino), false},
               {"", false},
               {std::nullopt, false}};
  for (const auto& c : cases) {
    c.journalStream ? setenv("JOURNAL_STREAM", c.journalStream->c_str(), 1)
                    : unsetenv("JOURNAL_STREAM");
    EXPECT_EQ(dam::IsJournalStream(fd), c.journal) << c.journalStream.value_or("(unset)");
  }
  unsetenv("JOURNAL_STREAM");
  close(fd);
}

using ServiceRun = damtest::DamProcesses;

// The run systemd starts: its stdout and stderr are one stream, the journal's, a
// notification socket waits, and the watchdog is on. A run whose output goes to a file is
// left plain.
TEST_F(ServiceRun, UnderSystemdItNotifiesAndMarksLinesForTheJournalElseItIsPlain) {
  // A password others may read gives a warning on stderr.
  const std::string ini = work_.File("settings/dam.ini");
  WriteFile("settings/dam.ini",
            "[Database]\nConnection=Driver=SQLite3;Database=" + work_.File("spc.db") + ";PWD=x\n");
  chmod(ini.c_str(), 0644);
  const QString config = Configuration();  // of a historian that is not there
  for (const bool journal : {true, false}) {
    SCOPED_TRACE(journal ? "journal" : "plain file");
    NotifySocket manager(work_.File(journal ? "notify1" : "notify2"));
    const QString out = WriteFile(journal ? "out1" : "out2", "");
    struct stat status {};
    stat(out.toStdString().c_str(), &status);
    QProcessEnvironment environment = environment_;
    environment.insert("NOTIFY_SOCKET", QString::fromStdString(manager.Path()));
    // The journal's run asks for the watchdog, the other does not.
    journal ? environment.insert("WATCHDOG_USEC", "400000") : environment.remove("WATCHDOG_USEC");
    // A plain file is not the journal because the journal's stream is another one.
    environment.insert("JOURNAL_STREAM",
                       QString("%1:%2").arg(status.st_dev).arg(status.st_ino + (journal ? 0 : 1)));
    QProcess run;
    run.setProcessEnvironment(environment);
    run.setProcessChannelMode(QProcess::MergedChannels);
    run.setStandardOutputFile(out);
    run.start(DAM_PROGRAM, {"run", config, "--for", "2"});
    for (int wait = 0; wait < 600 && !run.waitForFinished(100); ++wait) manager.Received();
    ASSERT_EQ(run.state(), QProcess::NotRunning);
    const std::string output = Read(out.toStdString());
    EXPECT_EQ(run.exitCode(), 0) << output;

    const std::vector<std::string> messages = manager.Received();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.front(), "READY=1");
    EXPECT_EQ(messages.back(), "STOPPING=1");
    const long pings = Count(messages, "WATCHDOG=1");
    EXPECT_TRUE(journal ? pings >= 3 : pings == 0) << pings << ": every 200 ms for 2 s, or none";
    EXPECT_TRUE(std::any_of(messages.begin(), messages.end(), [](const std::string& m) {
      return m.starts_with("STATUS=") && m.find("| saved 0") != std::string::npos;
    }));

    const std::string info = journal ? "<6>" : "", error = journal ? "<3>" : "";
    const std::string lines = "\n" + output;
    for (const std::string& line :
         {error + "dam: warning: " + ini + " holds a password",
          info + "historian: Unable to Connect", info + "stopped after 0 subgroup(s)\n"}) {
      EXPECT_NE(lines.find("\n" + line), std::string::npos) << line << " in\n" << output;
    }
    for (const std::string& line : Lines(output)) {
      EXPECT_EQ(line.starts_with("<6>") || line.starts_with("<3>"), journal) << line;
    }
  }
}

// A signal asks the loop to quit once and keeps unblocking it until the host has stopped;
// without a signal, ending the watch neither quits nor hangs (the thread sleeps in its wait
// until it is woken).
template <class Condition>
bool WaitFor(Condition condition) {
  for (int i = 0; i < 500 && !condition(); ++i) std::this_thread::sleep_for(10ms);
  return condition();
}

TEST(StopSignalsTest, ASignalQuitsOnceAndUnblocksUntilStoppedNoSignalDoesNothing) {
  struct Case {
    int signal;  // 0: none
    bool stopsBeforeEnd;
  } cases[] = {{0, false}, {SIGTERM, true}, {SIGINT, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.signal);
    std::atomic<int> quits = 0, unblocks = 0;
    {
      dam::StopSignals stop([&] { ++quits; }, [&] { ++unblocks; }, 10ms);
      if (c.signal != 0) {
        kill(getpid(), c.signal);
        ASSERT_TRUE(WaitFor([&] { return quits == 1; }));
        EXPECT_TRUE(stop.Requested());
        ASSERT_TRUE(WaitFor([&] { return unblocks >= 2; })) << "keeps unblocking the loop";
        if (c.stopsBeforeEnd) {
          stop.Stopped();
          const int after = unblocks;
          std::this_thread::sleep_for(50ms);
          EXPECT_LE(unblocks, after + 1) << "no unblocking once the host stopped";
        }
      } else {
        std::this_thread::sleep_for(50ms);
        EXPECT_FALSE(stop.Requested());
      }
    }
    EXPECT_EQ(quits, c.signal != 0 ? 1 : 0) << "the end of the watch is no stop request";
  }
}

}  // namespace
