// dam run as a systemd service: the notifications the service manager waits for, through a
// real notification socket, watchdog pings that go on while a collection waits on a database
// and stop when a loop is stuck, the journal entries with their fields (or priority
// prefixes without journald), and the signals that stop the run or change nothing.
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <regex>
#include <sstream>
#include <thread>

#include "apps/dam/host/JournalLines.h"
#include "apps/dam/host/ServiceNotifier.h"
#include "apps/dam/host/StopSignals.h"
#include "platform/components/LineFields.h"
#include "platform/odbc/OdbcConnection.h"
#include "tests/apps/dam/DamProcesses.h"

namespace {

using namespace std::chrono_literals;

// The service manager's end of NOTIFY_SOCKET: a datagram socket bound in a folder of its own.
// Each message keeps the time it arrived, not the time the test read it: a test busy
// elsewhere for seconds is no gap between pings.
class NotifySocket {
 public:
  explicit NotifySocket(const std::string& path) : path_(path) {
    fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    EXPECT_EQ(setsockopt(fd_, SOL_SOCKET, SO_TIMESTAMP, &on, sizeof on), 0);
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
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(timeval))];
    for (;;) {
      iovec data{buffer, sizeof buffer};
      msghdr message{};
      message.msg_iov = &data;
      message.msg_iovlen = 1;
      message.msg_control = control;
      message.msg_controllen = sizeof control;
      const ssize_t size = recvmsg(fd_, &message, 0);
      if (size <= 0) break;
      messages_.emplace_back(buffer, static_cast<size_t>(size));
      const cmsghdr* header = CMSG_FIRSTHDR(&message);
      timeval arrived{};
      if (header != nullptr && header->cmsg_type == SCM_TIMESTAMP) {
        std::memcpy(&arrived, CMSG_DATA(header), sizeof arrived);
      }
      times_.push_back(std::chrono::seconds(arrived.tv_sec) +
                       std::chrono::microseconds(arrived.tv_usec));
    }
    return messages_;
  }

  // The longest time between READY=1 and the first ping, or between two pings, as they came.
  std::chrono::milliseconds LongestWatchdogGap() {
    Received();
    std::optional<std::chrono::microseconds> last;
    std::chrono::milliseconds longest{0};
    for (size_t i = 0; i < messages_.size(); ++i) {
      if (messages_[i] != "READY=1" && messages_[i] != "WATCHDOG=1") continue;
      if (last) {
        longest = std::max(
            longest, std::chrono::duration_cast<std::chrono::milliseconds>(times_[i] - *last));
      }
      last = times_[i];
    }
    return longest;
  }

 private:
  std::string path_;
  int fd_ = -1;
  std::vector<std::string> messages_;
  // Since the epoch, as the kernel stamped each arrival.
  std::vector<std::chrono::microseconds> times_;
};

long Times(const std::vector<std::string>& messages, const std::string& message) {
  return std::count(messages.begin(), messages.end(), message);
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
  damtest::EnsureApplication();
  testsupport::TempFolder folder;
  NotifySocket manager(folder.File("notify"));
  setenv("NOTIFY_SOCKET", manager.Path().c_str(), 1);
  setenv("WATCHDOG_USEC", "100000", 1);
  setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
  {
    dam::ServiceNotifier service(60s);
    const auto watch = service.WatchThisLoop();
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
  EXPECT_GE(Times(sent, "WATCHDOG=1"), 2) << "half of the 100 ms interval";
  EXPECT_NE(sent.back(), "WATCHDOG=1");

  // A loop allowed no stall at all is stuck while it is inside any event: the pings stop,
  // and come again once it waits for its next event. Waiting, it is never stuck.
  NotifySocket stuck(folder.File("stuck"));
  setenv("NOTIFY_SOCKET", stuck.Path().c_str(), 1);
  long waiting = 0, inEvent = 0, again = 0;
  {
    dam::ServiceNotifier service(0s);
    const auto watch = service.WatchThisLoop();
    RunEventLoop(300, stuck);
    waiting = Times(stuck.Received(), "WATCHDOG=1");
    QTimer::singleShot(0, [&] {
      std::this_thread::sleep_for(300ms);
      inEvent = Times(stuck.Received(), "WATCHDOG=1") - waiting;
    });
    RunEventLoop(600, stuck);
    again = Times(stuck.Received(), "WATCHDOG=1") - waiting - inEvent;
  }
  EXPECT_GE(waiting, 2);
  EXPECT_LE(inEvent, 1) << "a ping under way as the event began";
  EXPECT_GE(again, 2);

  // A driver's loop stuck as long holds up that driver alone: the pings go on, and the
  // driver is told, once, and once that it came round.
  std::atomic<int> told = 0, answering = 0;
  {
    dam::ServiceNotifier service(0s);
    const auto watch = service.WatchThisDriver([&](std::chrono::seconds) { ++told; },
                                               [&](std::chrono::seconds) { ++answering; });
    waiting = Times(stuck.Received(), "WATCHDOG=1");
    QTimer::singleShot(0, [] { std::this_thread::sleep_for(300ms); });
    RunEventLoop(400, stuck);
  }
  EXPECT_GE(Times(stuck.Received(), "WATCHDOG=1") - waiting, 5);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(answering, 1);
  for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) unsetenv(name);
}

// Several loops, each marking its events: the one of the host's inside an event longest
// decides once that exceeds the allowance; an idle loop, or one waiting in a loop of its
// own, is never stuck; an event begun or ended inside it counts as progress; an ended watch
// counts no more.
TEST(LoopProgress, TheLoopInsideAnEventLongestDecidesOnceItExceedsTheAllowance) {
  using Clock = dam::LoopProgress::Clock;
  const Clock::time_point start{};
  dam::LoopProgress progress(90s);
  EXPECT_FALSE(progress.Stuck(start + 1000s)) << "no loop watched";
  std::shared_ptr<dam::LoopProgress::Loop> one = progress.Watch();
  std::shared_ptr<dam::LoopProgress::Loop> two = progress.Watch();
  EXPECT_FALSE(progress.Stuck(start + 1000s)) << "idle";
  one->Enter(start);
  two->Enter(start + 10s);
  EXPECT_FALSE(progress.Stuck(start + 90s)) << "as long as allowed";
  EXPECT_EQ(progress.Stuck(start + 91s), 91s);
  one->Enter(start + 91s);
  one->Leave(start + 95s);
  EXPECT_FALSE(progress.Stuck(start + 100s)) << "a nested event";
  EXPECT_EQ(progress.Stuck(start + 101s), 91s) << "the other loop";
  two->Waiting();
  EXPECT_FALSE(progress.Stuck(start + 150s)) << "a nested loop that waits";
  two->Enter(start + 150s);
  two->Leave(start + 151s);
  two->Leave(start + 151s);
  EXPECT_EQ(progress.Stuck(start + 186s), 91s) << "the first loop still in its outer event";
  one->Leave(start + 186s);
  EXPECT_FALSE(progress.Stuck(start + 1000s));
  one->Enter(start + 1000s);
  one.reset();
  EXPECT_FALSE(progress.Stuck(start + 2000s)) << "an ended loop";

  // A driver's loop is never the host's stall: it is told once it is stuck, and once that it
  // came round, with how long it was inside that event as of the look, or at once when its
  // own thread marks that it came round; an unwatched one no more.
  std::vector<Clock::duration> told, answering;
  std::shared_ptr<dam::LoopProgress::Loop> driver =
      progress.Watch([&](Clock::duration busy) { told.push_back(busy); },
                     [&](Clock::duration busy) { answering.push_back(busy); });
  driver->Enter(start);
  EXPECT_FALSE(progress.Stuck(start + 90s));
  EXPECT_FALSE(progress.Stuck(start + 100s));
  EXPECT_FALSE(progress.Stuck(start + 110s));
  driver->Leave(start + 120s);
  progress.Stuck(start + 125s);
  progress.Stuck(start + 126s);
  driver->Enter(start + 130s);
  progress.Stuck(start + 300s);
  EXPECT_EQ(told, (std::vector<Clock::duration>{100s, 170s}));
  EXPECT_EQ(answering, (std::vector<Clock::duration>{125s}));
  progress.CameRound(*driver, start + 310s);
  EXPECT_EQ(answering, (std::vector<Clock::duration>{125s, 180s}));
  progress.CameRound(*driver, start + 320s);
  progress.Stuck(start + 400s);
  EXPECT_EQ(answering.size(), 2u) << "told once";
  EXPECT_EQ(told.size(), 2u) << "busy since it came round, no longer than allowed";
  progress.Unwatch(driver.get());
  progress.Stuck(start + 500s);
  EXPECT_EQ(told.size(), 2u);
  EXPECT_EQ(answering.size(), 2u);

  // The application marks the loop watched on the thread the event runs on.
  std::shared_ptr<dam::LoopProgress::Loop> mine = progress.Watch();
  dam::LoopProgress::MarkOnThisThread(mine.get());
  std::thread([&] {
    const dam::LoopProgress::InEvent elsewhere;
    EXPECT_FALSE(progress.Stuck(Clock::now() + 91s)) << "another thread's event";
  }).join();
  {
    const dam::LoopProgress::InEvent here;
    EXPECT_TRUE(progress.Stuck(Clock::now() + 91s));
  }
  EXPECT_FALSE(progress.Stuck(Clock::now() + 91s));
  dam::LoopProgress::MarkOnThisThread(nullptr);

  // A collection may wait for a login and a statement on each of its two databases.
  EXPECT_EQ(dam::AllowedStall({}), 90s);
  EXPECT_EQ(dam::AllowedStall({.loginTimeout = 5, .queryTimeout = 3}), 26s);
  EXPECT_EQ(dam::AllowedStall({.loginTimeout = 0, .queryTimeout = 0}), 90s) << "defaults";
}

// What the journal's socket received, one entry of FIELD=value items each; a negative
// `refusal` refuses every entry, as a machine without journald does.
std::vector<std::vector<std::string>> received;
int refusal = 0;

int SendToTestJournal(const struct iovec* fields, int count) {
  if (refusal < 0) return refusal;
  std::vector<std::string> entry;
  for (int i = 0; i < count; ++i) {
    entry.emplace_back(static_cast<const char*>(fields[i].iov_base), fields[i].iov_len);
  }
  received.push_back(entry);
  return 0;
}

// Each whole line is one entry, however it is written, with the fields of the notes around
// it; a line the journal refuses goes to the stream with its priority in front.
TEST(JournalLines, EachLineIsOneEntryWithItsFieldsOrPrefixedWhenTheJournalRefusesIt) {
  const struct {
    std::vector<std::string> pieces;
    std::vector<std::string> messages;
  } cases[] = {
      {{"one\n"}, {"one"}},
      {{"one\ntwo\n"}, {"one", "two"}},
      {{"o", "ne", "\n", "two"}, {"one"}},
      {{"\n\n"}, {"", ""}},
      {{}, {}},
  };
  for (const auto& c : cases) {
    received.clear();
    std::ostringstream fallback;
    dam::JournalBuffer buffer(fallback.rdbuf(), platform::kLineInfo, SendToTestJournal);
    std::ostream out(&buffer);
    for (const std::string& piece : c.pieces) {
      piece.size() == 1 ? out.put(piece[0]) : out << piece;
    }
    out.flush();
    std::vector<std::string> messages;
    for (const auto& entry : received) messages.push_back(entry.front());
    for (std::string& message : messages) message.erase(0, 8);  // "MESSAGE="
    EXPECT_EQ(messages, c.messages);
    EXPECT_EQ(fallback.str(), "");
  }

  received.clear();
  std::ostringstream fallback;
  dam::JournalBuffer buffer(fallback.rdbuf(), platform::kLineError, SendToTestJournal);
  std::ostream out(&buffer);
  const runtime::Date collected = *runtime::ParseDate("2026-11-23 08:00:05");
  {
    const platform::LineNote run({.configuration = "Line 3"});
    out << "dam run: status unavailable" << std::endl;
    {
      const platform::LineNote error({.errorNumber = -2147467259, .sqlState = "08001"});
      out << "dam run: the out-of-control check failed" << std::endl;
    }
    const platform::LineNote late({.collectionTime = collected, .priority = platform::kLineNotice});
    out << "stopped after 3 subgroup(s)" << std::endl;
  }
  out << "dam: warning: /etc/dam/dam.ini holds a password" << std::endl;
  const std::vector<std::vector<std::string>> expected = {
      {"MESSAGE=dam run: status unavailable", "PRIORITY=3", "SYSLOG_IDENTIFIER=dam",
       "DAM_CONFIGURATION=Line 3"},
      {"MESSAGE=dam run: the out-of-control check failed", "PRIORITY=3", "SYSLOG_IDENTIFIER=dam",
       "DAM_CONFIGURATION=Line 3", "DAM_ERROR_NUMBER=-2147467259", "DAM_SQLSTATE=08001"},
      {"MESSAGE=stopped after 3 subgroup(s)", "PRIORITY=5", "SYSLOG_IDENTIFIER=dam",
       "DAM_CONFIGURATION=Line 3", "DAM_COLLECTION_TIME=2026-11-23T08:00:05.000+01:00"},
      {"MESSAGE=dam: warning: /etc/dam/dam.ini holds a password", "PRIORITY=4",
       "SYSLOG_IDENTIFIER=dam"}};
  EXPECT_EQ(received, expected);

  refusal = -ENOENT;
  out << "one\n"
      << "dam: warning: two" << std::endl;
  refusal = 0;
  EXPECT_EQ(fallback.str(), "<3>one\n<4>dam: warning: two\n");
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
// notification socket waits, the watchdog is on, and a reload is told as one. A run whose output
// goes to a file is left plain.
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
    // systemctl reload: the manager hears of the reload and of its end.
    bool reloaded = false;
    for (int wait = 0; wait < 600 && !run.waitForFinished(100); ++wait) {
      if (Times(manager.Received(), "READY=1") == 1 && !reloaded) {
        reloaded = kill(static_cast<pid_t>(run.processId()), SIGHUP) == 0;
      }
    }
    ASSERT_EQ(run.state(), QProcess::NotRunning);
    const std::string output = Read(out.toStdString());
    EXPECT_EQ(run.exitCode(), 0) << output;

    const std::vector<std::string> messages = manager.Received();
    ASSERT_FALSE(messages.empty());
    ASSERT_EQ(messages.back(), "STOPPING=1");
    // Pings may come first: a configuration written just now is read again after a pause.
    EXPECT_EQ(*std::find_if(messages.begin(), messages.end(),
                            [](const std::string& m) { return m != "WATCHDOG=1"; }),
              "READY=1");
    const auto reloading = std::find_if(messages.begin(), messages.end(), [](const auto& m) {
      return m.starts_with("RELOADING=1\nMONOTONIC_USEC=");
    });
    ASSERT_NE(reloading, messages.end());
    EXPECT_NE(std::find(reloading, messages.end(), "READY=1"), messages.end());
    const long pings = Times(messages, "WATCHDOG=1");
    EXPECT_TRUE(journal ? pings >= 3 : pings == 0) << pings << ": every 200 ms for 2 s, or none";
    EXPECT_TRUE(std::any_of(messages.begin(), messages.end(), [](const std::string& m) {
      return m.starts_with("STATUS=") && m.find("| saved 0") != std::string::npos;
    }));
    for (const std::string& m : messages) EXPECT_FALSE(m.starts_with("STATUS=0 ")) << m;

    // This machine has no journald socket: the lines keep priority prefixes instead.
    const std::string warning = journal ? "<4>" : "", notice = journal ? "<5>" : "";
    const std::string lines = "\n" + output;
    for (const std::string& line :
         {warning + "dam: warning: " + ini + " holds a password",
          notice + "historian: Unable to Connect", notice + "stopped after 0 subgroup(s)\n"}) {
      EXPECT_HAS(lines, "\n" + line);
    }
    for (const std::string& line : Lines(output)) {
      EXPECT_EQ(
          line.size() > 3 && line[0] == '<' && line[1] >= '3' && line[1] <= '6' && line[2] == '>',
          journal)
          << line;
    }
  }
  // On a terminal the summary line is drawn in place; a line of its own clears it first.
  StartHistorian();
  const auto [code, shown] =
      Run("/usr/bin/script",
          {"-qec", QString(DAM_PROGRAM) + " run '" + config + "' --for 2", "/dev/null"});
  EXPECT_EQ(code, 0) << shown;
  const size_t at = shown.find("historian: Connection Ready");
  ASSERT_NE(at, std::string::npos) << shown;
  EXPECT_TRUE(at == 0 || shown[at - 1] == '\n' || shown.compare(at - 3, 3, "\x1b[K") == 0) << shown;
}

// A real journald, in a mount namespace of its own so that no other program's lines reach
// it or its files outlive the test: every line of the run is one entry, none falls back to
// the stream, with its priority and fields; the status line only when more than its counts
// changed. Needs root (unshare) and systemd-journald.
TEST_F(ServiceRun, AJournaldTakesEachLineAsOneEntryWithItsPriorityAndFields) {
  const char* const journald = "/lib/systemd/systemd-journald";
  if (geteuid() != 0 || access(journald, X_OK) != 0 || std::system("unshare -m true") != 0) {
    GTEST_SKIP() << "needs root, unshare and " << journald;
  }
  StartHistorian();
  WriteFile("settings/dam.ini",
            "[Database]\nConnection=Driver=SQLite3;Database=" + work_.File("spc.db") + ";PWD=x\n");
  chmod(work_.File("settings/dam.ini").c_str(), 0644);
  const QString stream = WriteFile("stream", "");
  const char* const script = R"(
    mount -t tmpfs tmpfs /run
    [ -d /var/log/journal ] && mount -t tmpfs tmpfs /var/log/journal
    mkdir -p /run/systemd/journal
    "$1" & journald=$!
    timeout 10 sh -c 'until [ -S /run/systemd/journal/socket ]; do sleep 0.05; done'
    JOURNAL_STREAM=$(stat -c %d:%i "$2") "$3" run "$4" --for 3 >>"$2" 2>&1
    echo "exit $?" >&2
    journalctl --no-pager -o json SYSLOG_IDENTIFIER=dam
    kill $journald)";
  const auto [code, output] = Run("unshare", {"-m", "sh", "-c", script, "journal", journald, stream,
                                              DAM_PROGRAM, Configuration()});
  ASSERT_EQ(code, 0) << output;
  EXPECT_HAS(output, "exit 0");
  EXPECT_EQ(Read(stream.toStdString()), "") << "every line went to the journal";
  std::vector<QJsonObject> entries;
  for (const std::string& line : Lines(output)) {
    if (line.starts_with("{")) {
      entries.push_back(QJsonDocument::fromJson(QByteArray::fromStdString(line)).object());
    }
  }
  const auto entry = [&](const std::string& start) -> QJsonObject {
    for (const QJsonObject& e : entries) {
      if (e["MESSAGE"].toString().startsWith(QString::fromStdString(start))) return e;
    }
    ADD_FAILURE() << "no entry " << start << " in\n" << output;
    return {};
  };
  EXPECT_EQ(entry("dam: warning: ")["PRIORITY"], "4");
  EXPECT_EQ(entry("historian: Connection Ready")["PRIORITY"], "5");
  const QJsonObject saved = entry("running | saved 1 |");
  EXPECT_EQ(saved["PRIORITY"], "6");
  EXPECT_TRUE(saved["DAM_COLLECTION_TIME"].toString().startsWith("20")) << output;
  // After the first collection only what matters: not a line for every count.
  EXPECT_EQ(std::count_if(entries.begin(), entries.end(),
                          [](const QJsonObject& e) {
                            return e["MESSAGE"].toString().startsWith("running | saved");
                          }),
            2)
      << output;
  const QJsonObject stopped = entry("stopped after ");
  EXPECT_EQ(stopped["PRIORITY"], "5");
  EXPECT_EQ(stopped["DAM_CONFIGURATION"], "Line 1");
}

// A save that waits on a locked SPC database until QueryTimeout (3 s) before the subgroup
// goes to the spool keeps the event loop longer than the 2 s watchdog interval: the pings go
// on, from their own thread, without a gap beyond the interval. The status's saved count
// keeps what a line a reload removed saved: it never goes back. A line removed while its save
// waits shows that save in its last status line.
TEST_F(ServiceRun, TheWatchdogIsPingedWhileASaveWaitsOnALockedSpcDatabase) {
  StartHistorian();
  WriteFile("settings/dam.ini", "[Connections]\nQueryTimeout=3\n");
  NotifySocket manager(work_.File("notify"));
  environment_.insert("NOTIFY_SOCKET", QString::fromStdString(manager.Path()));
  environment_.insert("WATCHDOG_USEC", "2000000");
  const std::string plant = work_.Subfolder("plant");
  Line("plant/line1.cfg", "Line 1", historian_);
  const QString removed = Line("plant/line2.cfg", "Line 2", historian_);
  auto run = Start(DAM_PROGRAM, {"run", QString::fromStdString(plant)});
  const auto said = [&](const std::string& part) {
    return WaitFor(
        [&] {
          const std::vector<std::string> messages = manager.Received();
          return std::any_of(messages.begin(), messages.end(), [&](const std::string& m) {
            return m.find(part) != std::string::npos;
          });
        },
        30);
  };
  ASSERT_TRUE(said("| saved 2"));
  // Not pooled: a pool's thread would take the signals StopSignalsTest sends.
  platform::OdbcConnection holder(platform::OdbcPolicy{.poolIdleSeconds = 0});
  holder.Open(Spc(), "", "");
  holder.Execute("BEGIN EXCLUSIVE");
  std::this_thread::sleep_for(1500ms);
  std::filesystem::remove(removed.toStdString());
  Signal(*run, SIGHUP);
  ASSERT_TRUE(said("1 configuration: 1 running"));
  EXPECT_TRUE(said("| spooled 2"));
  holder.Execute("COMMIT");
  EXPECT_TRUE(WaitFor([&] { return Logged("SPC database available again"); }, 30)) << Log();
  const std::chrono::milliseconds gap = manager.LongestWatchdogGap();
  Terminate(*run);
  EXPECT_LT(gap, 2s) << gap.count() << " ms without a ping";
  EXPECT_TRUE(Logged("SPC database unavailable")) << Log();
  const std::string output = run->readAllStandardOutput().toStdString();
  std::smatch last, removedAfter;
  ASSERT_TRUE(
      std::regex_search(output, removedAfter, std::regex("Line 2: removed: stopped after (\\d+)")))
      << output;
  const std::regex status("Line 2: [a-z]+ \\| saved (\\d+)");
  for (std::sregex_iterator at(output.begin(), removedAfter[0].first, status), end; at != end;
       ++at) {
    last = *at;
  }
  EXPECT_EQ(last[1].str(), removedAfter[1].str()) << output;
  int saved = 0;
  for (const std::string& m : manager.Received()) {
    std::smatch count;
    if (!m.starts_with("STATUS=") || !std::regex_search(m, count, std::regex("\\| saved (\\d+)")))
      continue;
    EXPECT_GE(std::stoi(count[1]), saved) << m;
    saved = std::stoi(count[1]);
  }
}

// Each signal to a running dam run: SIGTERM and SIGINT stop it (0), SIGALRM ends it by itself
// (as without dam's handling); SIGHUP of an unchanged file, SIGUSR1, SIGUSR2, SIGPIPE and
// SIGXFSZ change nothing; a closed output stops it with 141. Whatever stops it stops the driver
// first ("stopped after N").
TEST_F(ServiceRun, SignalsStopTheDriverFirstOrChangeNothing) {
  StartHistorian();
  const QString config = Configuration();
  const struct { int signal, exitCode; } cases[] = {{SIGTERM, 0}, {SIGINT, 0}, {SIGALRM, -1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.signal);
    auto run = Start(DAM_PROGRAM, {"run", config});
    std::string output;
    const auto saved = [&](int subgroups) {
      return Says(*run, output, "| saved " + std::to_string(subgroups) + " ");
    };
    ASSERT_TRUE(saved(1)) << output;
    if (c.signal == SIGTERM) {
      for (const int ignored : {SIGHUP, SIGUSR1, SIGUSR2, SIGPIPE, SIGXFSZ}) {
        Signal(*run, ignored);
      }
      EXPECT_TRUE(saved(3)) << "collects on: " << output;
    }
    Signal(*run, c.signal);
    EXPECT_TRUE(run->waitForFinished(15'000));
    output += run->readAll().toStdString();
    if (c.exitCode < 0) {
      EXPECT_EQ(run->exitStatus(), QProcess::CrashExit);
      EXPECT_EQ(run->exitCode(), c.signal) << output;
    } else {
      EXPECT_EQ(run->exitStatus(), QProcess::NormalExit);
      EXPECT_EQ(run->exitCode(), c.exitCode) << output;
    }
    EXPECT_GE(Stopped(output), 1) << output;
  }

  // dam gui closes its window on a signal as the user would, unloading every driver, and ends
  // with 0; it takes the signals from the start of its command.
  environment_.insert("QT_QPA_PLATFORM", "offscreen");
  auto gui = Start(DAM_GUI_PROGRAM, {"gui", config});
  ASSERT_TRUE(WaitFor(
      [&] {
        std::ifstream status("/proc/" + std::to_string(gui->processId()) + "/status");
        std::string line;
        while (std::getline(status, line) && !line.starts_with("SigBlk:")) {
        }
        return line.size() > 8 && (std::stoull(line.substr(8), nullptr, 16) >> (SIGTERM - 1) & 1);
      },
      30));
  Signal(*gui, SIGTERM);
  EXPECT_TRUE(gui->waitForFinished(15'000));
  EXPECT_EQ(gui->exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(gui->exitCode(), 0) << gui->readAll().toStdString();

  // A run that collects every second, and one that waits an hour for its first collection:
  // it sees the reader go while it sleeps, not at its next line (or the end of --for).
  for (const int unit : {0, 2}) {
    const auto [exitCode, output] =
        Run("/bin/bash",
            {"-c", "\"$0\" run \"$1\" --ndjson --for 60 | head -1; echo \"dam: ${PIPESTATUS[0]}\"",
             DAM_PROGRAM, Configuration(damtest::kWeight, unit, unit)});
    // head's line may land inside one of dam's on stderr.
    EXPECT_HAS(output, "\"event\":");
    EXPECT_EQ(output.find("\"event\":"), output.rfind("\"event\":")) << "one line: " << output;
    for (const std::string said :
         {"the output was closed; stopping", "stopped after", "dam: 141"}) {
      EXPECT_HAS(output, said);
    }
  }
}

// A signal asks the loop to quit once and keeps unblocking it until the host has stopped;
// without a signal, ending the watch neither quits nor hangs (the thread sleeps in its wait
// until it is woken). SIGHUP reloads a host that reloads, as often as it comes.
TEST(StopSignalsTest, ASignalQuitsOnceAndUnblocksUntilStoppedNoSignalDoesNothing) {
  struct Case {
    int signal;  // 0: none
    bool stopsBeforeEnd;
    bool reloads;
  } cases[] = {{0, false, false},       {SIGTERM, true, false},      {SIGINT, false, false},
               {SIGQUIT, false, false}, {SIGHUP, false, false},      {SIGHUP, false, true},
               {SIGXCPU, false, false}, {SIGRTMIN + 3, false, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.signal);
    std::atomic<int> quits = 0, unblocks = 0, reloads = 0;
    {
      dam::StopSignals stop([&] { ++quits; }, [&] { ++unblocks; }, 10ms,
                            c.reloads ? std::function<void()>([&] { ++reloads; }) : nullptr);
      if (c.reloads) {
        for (int i = 1; i <= 2; ++i) {
          kill(getpid(), c.signal);
          ASSERT_TRUE(ServiceRun::WaitFor([&] { return reloads == i; }, 5));
        }
        EXPECT_FALSE(stop.Requested());
      } else if (c.signal != 0) {
        kill(getpid(), c.signal);
        ASSERT_TRUE(ServiceRun::WaitFor([&] { return quits == 1; }, 5));
        EXPECT_TRUE(stop.Requested());
        kill(getpid(), SIGINT);  // pressed again: neither a second quit nor the end of the test
        ASSERT_TRUE(ServiceRun::WaitFor([&] { return unblocks >= 2; }, 5))
            << "keeps unblocking the loop";
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
    EXPECT_EQ(quits, c.signal != 0 && !c.reloads ? 1 : 0)
        << "the end of the watch is no stop request";
  }
}

}  // namespace
