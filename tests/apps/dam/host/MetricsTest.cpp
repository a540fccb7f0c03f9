// What dam run tells a monitoring system: the collections its drivers' timers see, the
// board of per-configuration snapshots, and the HTTP server a real client scrapes.

#include <arpa/inet.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpServer>
#include <QTcpSocket>
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <tuple>

#include "apps/dam/host/CollectionTimer.h"
#include "apps/dam/host/MetricsBoard.h"
#include "apps/dam/host/MetricsServer.h"
#include "apps/dam/output/JsonOutput.h"
#include "apps/shared/Failures.h"
#include "platform/odbc/OdbcConnection.h"
#include "tests/apps/dam/DamProcesses.h"
#include "tests/support/Historian.h"
#include "tests/support/ManualTimer.h"
#include "tests/support/TestClock.h"

namespace {

using namespace std::chrono_literals;

runtime::Date At(const char* text) {
  return *runtime::ParseDate(text);
}

struct Answer {
  int status;
  std::string type, body;
};

Answer Get(uint16_t port, const char* path, const char* method = "GET") {
  QNetworkAccessManager client;
  QNetworkReply* reply = client.sendCustomRequest(
      QNetworkRequest(QUrl(QString("http://127.0.0.1:%1%2").arg(port).arg(path))), method);
  QEventLoop loop;
  QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
  if (!reply->isFinished()) loop.exec();
  Answer answer{reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(),
                reply->header(QNetworkRequest::ContentTypeHeader).toString().toStdString(),
                reply->readAll().toStdString()};
  reply->deleteLater();
  return answer;
}

// A connection of our own to the server, which this thread cannot serve while it waits.
int Connect(uint16_t port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{
      .sin_family = AF_INET, .sin_port = htons(port), .sin_addr = {}, .sin_zero = {}};
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const timeval wait{.tv_sec = 3, .tv_usec = 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return fd;
  close(fd);
  return -1;
}

bool Holds(const std::string& text, const std::string& line) {
  return ("\n" + text).find("\n" + line + "\n") != std::string::npos;
}

// A tick in which the engine plans its next collection is a collection, timed from the
// tick's start to its end; a tick that plans nothing is not.
TEST(CollectionTimer, ATickThatPlansTheNextCollectionIsACollection) {
  testsupport::TestClock clock(At("2026-11-23 08:00:00"));
  dam::CollectionTimes times;
  auto manual = std::make_unique<testsupport::ManualTimer>();
  testsupport::ManualTimer& inner = *manual;
  dam::CollectionTimer timer(std::move(manual), times);
  timer.StartTimer(100);
  timer.ArmFor(At("2026-11-23 08:00:05"));
  EXPECT_EQ(inner.armedFor, At("2026-11-23 08:00:05")) << "forwarded";
  EXPECT_EQ(times.next, At("2026-11-23 08:00:05"));

  bool collects = false;
  const runtime::Subscription engine = timer.OnTimer.Subscribe([&] {
    if (!collects) return;
    clock.Set(At("2026-11-23 08:00:07.25"));
    timer.ArmFor(At("2026-11-23 08:00:10"));
  });
  inner.Tick();
  EXPECT_EQ(times.collections, 0);
  EXPECT_FALSE(times.last);

  clock.Set(At("2026-11-23 08:00:06"));
  collects = true;
  inner.Tick();
  EXPECT_EQ(times.collections, 1);
  EXPECT_EQ(times.last, At("2026-11-23 08:00:06"));
  EXPECT_EQ(times.took, 1250ms);
  EXPECT_EQ(times.next, At("2026-11-23 08:00:10"));
}

TEST(MetricsServer, AClientScrapesTheBoardAndItsHealthFollowsTheDrivers) {
  damtest::EnsureApplication();
  testsupport::TestClock clock(At("2026-11-23 08:00:00"));
  dam::MetricsBoard board;
  dam::MetricsServer server(board);
  const uint16_t port = server.Listen("127.0.0.1:0", "[Metrics] Listen");
  ASSERT_NE(port, 0);

  Answer health = Get(port, "/healthz");
  EXPECT_EQ(health.status, 503);
  EXPECT_EQ(health.body, "no driver is running\n");
  EXPECT_EQ(Get(port, "/metrics", "DELETE").status, 404);
  EXPECT_EQ(Get(port, "/", "GET").status, 404);

  dam::ConfigurationMetrics line3{
      .state = "running",
      .saved = 4,
      .errors = {{"Unable to Access Database", 2}, {"A \"quoted\" \\ one", 1}},
      .lastCollection = At("2026-11-23 07:59:55"),
      .nextCollection = At("2026-11-23 08:00:05"),
      .lastCollectionSeconds = 0.25,
      .historianReachable = true,
      .spcReachable = false,
      .retrySeconds = 10};
  board.Publish("Line 3", line3);
  dam::ConfigurationMetrics oven;
  oven.state = "running";
  oven.spcReachable = true;
  board.Publish("Oven", oven);
  board.PublishSpool(7);
  const Answer metrics = Get(port, "/metrics");
  EXPECT_EQ(metrics.status, 200);
  EXPECT_EQ(metrics.type, "text/plain; version=0.0.4; charset=utf-8");
  const double last = dam::UnixSeconds(At("2026-11-23 07:59:55"));
  EXPECT_EQ(last, 1795417195) << "Europe/Berlin is UTC+1 in November";
  for (const std::string line : {
           "# TYPE dam_subgroups_saved_total counter",
           "dam_subgroups_saved_total{configuration=\"Line 3\"} 4",
           "dam_subgroups_saved_total{configuration=\"Oven\"} 0",
           "dam_collection_errors_total{configuration=\"Line 3\",description=\"A \\\"quoted\\\" "
           "\\\\ one\"} 1",
           "dam_collection_errors_total{configuration=\"Line 3\",description=\"Unable to Access "
           "Database\"} 2",
           "dam_last_collection_timestamp_seconds{configuration=\"Line 3\"} 1795417195",
           "dam_last_collection_duration_seconds{configuration=\"Line 3\"} 0.25",
           "dam_next_collection_timestamp_seconds{configuration=\"Line 3\"} 1795417205",
           "dam_historian_reachable{configuration=\"Line 3\"} 1",
           "dam_historian_reachable{configuration=\"Oven\"} 0",
           "dam_spc_database_reachable{configuration=\"Line 3\"} 0",
           "dam_driver_running{configuration=\"Oven\"} 1",
           "dam_spool_subgroups 7",
       }) {
    EXPECT_TRUE(Holds(metrics.body, line)) << line << " in\n" << metrics.body;
  }
  EXPECT_LACKS(metrics.body, "dam_last_collection_timestamp_seconds{configuration=\"Oven\"}")
      << "a driver that never collected has no last collection";

  // Late by up to a retry period is healthy; later, or a driver that stopped, is not.
  const struct {
    const char* now;
    const char* state;
    int status;
    std::string body;
  } cases[] = {
      {"2026-11-23 08:00:15", "running", 200, "ok\n"},
      {"2026-11-23 08:00:16", "running", 503,
       "Line 3: the collection planned for 2026-11-23 08:00:05 is overdue\n"},
      {"2026-11-23 08:00:00", "stopped", 503, "Line 3: the driver is stopped\n"},
  };
  for (const auto& c : cases) {
    clock.Set(At(c.now));
    line3.state = c.state;
    board.Publish("Line 3", line3);
    health = Get(port, "/healthz");
    EXPECT_EQ(health.status, c.status) << c.now;
    EXPECT_EQ(health.body, c.body) << c.now;
  }
  // A name in Latin-1 would make the whole page unreadable to a scraper.
  oven.state = "paused";
  board.Publish("\xd6l", oven);
  EXPECT_EQ(Get(port, "/healthz").body,
            "Line 3: the driver is stopped\n\xef\xbf\xbdl: the driver is paused\n");
  EXPECT_TRUE(
      Holds(Get(port, "/metrics").body, "dam_driver_running{configuration=\"\xef\xbf\xbdl\"} 0"));
  // Two Latin-1 texts that read the same then are one series.
  oven.errors = {{"f\xfcr", 2}, {"f\xe4r", 3}};
  board.Publish("\xd6l", oven);
  const std::string merged = Get(port, "/metrics").body;
  EXPECT_TRUE(Holds(merged,
                    "dam_collection_errors_total{configuration=\"\xef\xbf\xbdl\","
                    "description=\"f\xef\xbf\xbdr\"} 5"))
      << merged;

  // Nobody who can reach the port takes the drivers' descriptors: the 65th open connection
  // is closed at once.
  const auto settle = [](const std::function<bool()>& done) {
    for (QDeadlineTimer deadline(10'000); !done() && !deadline.hasExpired();) {
      QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return done();
  };
  std::vector<std::unique_ptr<QTcpSocket>> clients(65);
  const auto closed = [](const std::unique_ptr<QTcpSocket>& client) {
    return client->state() == QAbstractSocket::UnconnectedState;
  };
  for (auto& client : clients) {
    client = std::make_unique<QTcpSocket>();
    client->connectToHost(QHostAddress::LocalHost, port);
    if (&client != &clients.back()) {
      ASSERT_TRUE(settle([&] { return client->state() == QAbstractSocket::ConnectedState; }));
    }
  }
  EXPECT_TRUE(settle([&] { return closed(clients[64]); }));
  EXPECT_FALSE(closed(clients[0]));
  EXPECT_EQ(std::count_if(clients.begin(), clients.end(), closed), 1);
  // Nor do clients that never send keep the monitoring system out: 5 s is all a connection
  // gets.
  EXPECT_TRUE(settle([&] { return std::all_of(clients.begin(), clients.end(), closed); }));
  clients.clear();
  EXPECT_EQ(Get(port, "/metrics").status, 200);
  // Nor its memory: a request whose header never ends is cut off after a megabyte. Neither it
  // nor a request for a WebSocket is a warning in the journal. A client that reads until the
  // end gets it after the answer.
  static std::atomic<int> warnings = 0;
  const QtMessageHandler journal = qInstallMessageHandler(
      [](QtMsgType, const QMessageLogContext&, const QString&) { ++warnings; });
  std::atomic<bool> cut = false, sent = false;
  std::string answer;
  std::thread endless([&] {
    if (const int fd = Connect(port); fd >= 0) {
      const std::string start = "GET /metrics HTTP/1.1\r\nX-Endless: ", more(1 << 16, 'a');
      cut = send(fd, start.data(), start.size(), MSG_NOSIGNAL) < 0;
      for (int i = 0; i < 512 && !cut; ++i)
        cut = send(fd, more.data(), more.size(), MSG_NOSIGNAL) < 0;
      close(fd);
    }
    if (const int fd = Connect(port); fd >= 0) {
      const std::string request =
          "GET /nothing HTTP/1.0\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n\r\n";
      send(fd, request.data(), request.size(), MSG_NOSIGNAL);
      char buffer[256];
      ssize_t got = 0;
      while ((got = recv(fd, buffer, sizeof buffer, 0)) > 0) answer.append(buffer, got);
      if (got < 0) answer += "(still open)";
      close(fd);
    }
    sent = true;
  });
  settle([&] { return sent.load(); });
  endless.join();
  qInstallMessageHandler(journal);
  EXPECT_TRUE(cut);
  EXPECT_EQ(warnings, 0);
  EXPECT_TRUE(answer.starts_with("HTTP/1.1 404") && answer.ends_with("\r\n\r\n")) << answer;

  // Bad addresses (a wrong setting) and addresses that cannot be listened on are refused,
  // naming the setting.
  dam::MetricsServer other(board);
  for (const std::string& address : std::vector<std::string>{
           "localhost:9464", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536", "::1:9464",
           "192.0.2.1:9464", "127.0.0.1:" + std::to_string(port)}) {
    try {
      other.Listen(address, "[Metrics] Listen in dam.ini");
      ADD_FAILURE() << address << " was taken";
    } catch (const apps::Failure& failure) {
      const bool listenable =
          address.starts_with("192.0.2.1") || address == "127.0.0.1:" + std::to_string(port);
      EXPECT_EQ(failure.Code(), listenable ? apps::kExitFailure : apps::kExitInvalidConfiguration)
          << address;
      EXPECT_HAS(failure.what(), "[Metrics] Listen in dam.ini");
    }
  }
}

using MetricsRun = damtest::DamProcesses;

// A run with [Metrics] Listen serves what it collects; one whose address cannot be served,
// whose [Run] Rules are no rules, or whose dam.ini is wrong or cannot be read, does not start.
// A wrong setting is exit 3, which the service does not restart; a port taken may come free.
// Every other command that reads dam.ini refuses a wrong one as the run does, first thing.
TEST_F(MetricsRun, ARunServesItsCollectionsAndRefusesAnAddressItCannotServe) {
  damtest::EnsureApplication();
  QTcpServer taken;
  ASSERT_TRUE(taken.listen(QHostAddress::LocalHost));
  const std::string ini = work_.File("settings/dam.ini");
  const std::tuple<std::string, std::string, int, bool> badSettings[] = {
      {"[Metrics]\nListen=9464\n", "[Metrics] Listen in " + ini, 3, false},
      {"[Metrics]\nListen=127.0.0.1:" + std::to_string(taken.serverPort()),
       "[Metrics] Listen in " + ini, 1, false},
      {"[Run]\nRules=1,9\n", "[Run] Rules in " + ini, 3, false},
      {"[Spool]\nMaxBytes=0\n", "[Spool] MaxBytes in " + ini, 3, false},
      {"[Connections]\nLoginTimeout=abc\n", "[Connections] LoginTimeout in " + ini, 3, true},
      {"[Security]\nAllowDriverPaths=yes\n", "[Security] AllowDriverPaths in " + ini, 3, true},
      {"[Database]\nStrictTests=yes\n", "[Database] StrictTests in " + ini, 3, false},
      // A folder in its place: the defaults would send the subgroups to another database.
      {"", "cannot read " + ini + ": Is a directory", 3, true}};
  const QString config = Configuration();
  const std::vector<QStringList> others = {{"subgroups"},
                                           {"chart", "--test", "Fill/Weight"},
                                           {"spool"},
                                           {"check", config},
                                           {"config", "show", config}};
  for (const auto& [settings, said, status, everyCommand] : badSettings) {
    std::filesystem::remove(ini);
    if (settings.empty()) {
      std::filesystem::create_directory(ini);
    } else {
      WriteFile("settings/dam.ini", settings);
    }
    const auto [code, output] = Dam({"run", config, "--for", "5"});
    EXPECT_EQ(code, status) << output;
    EXPECT_HAS(output, said);
    EXPECT_LACKS(output, "stopped after") << "the driver never started";
    if (!everyCommand) continue;
    for (const QStringList& command : others) {
      const auto [otherCode, otherOutput] = Dam(command);
      EXPECT_EQ(otherCode, 3) << otherOutput;
      EXPECT_HAS(otherOutput, ": cannot set up this host: ");
      EXPECT_HAS(otherOutput, said);
    }
  }
  std::filesystem::remove(ini);

  StartHistorian();
  WriteFile("settings/dam.ini", "[Metrics]\nListen=127.0.0.1:0\n[Connections]\nQueryTimeout=0\n");
  // Five configurations in the run: each has its own series (their format: MetricsServer
  // above). Line 3's historian is locked by another program, so its start waits: until it
  // runs, the run is not healthy. Two without a name, one of them with no historian: the
  // errors are the driver's that made them, whatever name its log lines carry.
  const std::string locked = work_.File("locked.db");
  damtest::CreateLockableHistorian(locked);
  const auto holder = damtest::Lock(testsupport::SqliteLink(locked));
  // Started at the soft limit of open files systemd gives (1024), it takes the hard one: a
  // plant's lines hold more. So does dam-gui, which runs `dam run --activity`.
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit low{std::min<rlim_t>(limit.rlim_max, 256), limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
  auto run =
      Start(DAM_PROGRAM, {"run", Configuration(), Line("line2.cfg", "Line 2", historian_),
                          Line("line3.cfg", "Line 3", locked), Line("good.cfg", "", historian_),
                          Line("away.cfg", "", work_.File("gone.db")), "--for", "60"});
  auto gui = Start(DAM_GUI_PROGRAM, {"run", Line("gui.cfg", "GUI", historian_), "--for", "60"});
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  const auto openFiles = [](const QProcess& process) {
    std::ifstream limits("/proc/" + std::to_string(process.processId()) + "/limits");
    std::string line, soft, hard;
    while (std::getline(limits, line) && !line.starts_with("Max open files")) {
    }
    std::istringstream(line.substr(std::min<size_t>(line.size(), 14))) >> soft >> hard;
    return std::make_pair(soft, hard);
  };
  std::string guiOutput;
  ASSERT_TRUE(Says(*gui, guiOutput, "running | saved")) << guiOutput;
  const auto [guiSoft, guiHard] = openFiles(*gui);
  Terminate(*gui);
  EXPECT_EQ(guiSoft, guiHard);
  EXPECT_FALSE(guiSoft.empty());
  std::string output;
  ASSERT_TRUE(Says(*run, output, "/metrics and /healthz\n")) << output;
  const size_t at = output.find("metrics: http://127.0.0.1:");
  ASSERT_NE(at, std::string::npos) << output;
  const auto port = static_cast<uint16_t>(std::stoi(output.substr(at + 26)));
  ASSERT_TRUE(Says(*run, output, "Line 1: running | saved 2 |")) << output;
  ASSERT_TRUE(Says(*run, output, "good: running | saved 4 |")) << output;
  const auto [soft, hard] = openFiles(*run);
  EXPECT_EQ(soft, hard);
  EXPECT_FALSE(soft.empty());
  const Answer metrics = Get(port, "/metrics");
  const Answer starting = Get(port, "/healthz");
  holder->Execute("ROLLBACK");
  ASSERT_TRUE(Says(*run, output, "Line 3: running")) << output;
  const Answer health = Get(port, "/healthz");
  Terminate(*run);
  EXPECT_EQ(starting.status, 503) << starting.body;
  EXPECT_EQ(starting.body, "Line 3: the driver is starting\n");
  EXPECT_EQ(health.status, 200) << health.body;
  for (const std::string line :
       {"dam_driver_running{configuration=\"Line 1\"} 1",
        "dam_driver_running{configuration=\"Line 2\"} 1",
        "dam_driver_running{configuration=\"Line 3\"} 0",
        "dam_historian_reachable{configuration=\"Line 1\"} 1",
        "dam_spc_database_reachable{configuration=\"Line 1\"} 1", "dam_spool_subgroups 0",
        "dam_historian_reachable{configuration=\"good\"} 1",
        "dam_historian_reachable{configuration=\"away\"} 0"}) {
    EXPECT_TRUE(Holds(metrics.body, line)) << line << " in\n" << metrics.body;
  }
  for (const std::string name :
       {"last_collection_timestamp_seconds", "last_collection_duration_seconds",
        "next_collection_timestamp_seconds", "subgroups_saved_total"}) {
    EXPECT_HAS(metrics.body, "\ndam_" + name + "{configuration=\"Line 1\"} ") << name;
  }
  EXPECT_LACKS(metrics.body, "dam_collection_errors_total{configuration=\"good\"");
  EXPECT_HAS(metrics.body,
             "dam_collection_errors_total{configuration=\"away\",description="
             "\"Unable to Access Database\"} ");
  for (const std::string& said : Lines(output)) {
    if (said.starts_with("good: running")) {
      EXPECT_TRUE(said.ends_with("last error none")) << said;
    }
  }
  const std::string saved = "\ndam_subgroups_saved_total{configuration=\"Line 1\"} ";
  EXPECT_GE(std::stoi(metrics.body.substr(metrics.body.find(saved) + saved.size())), 2)
      << metrics.body;
}

}  // namespace
