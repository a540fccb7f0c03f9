#include "apps/dam/metrics/MetricsHttp.h"

#include <unistd.h>

#include <QHostAddress>
#include <QHttpServer>
#include <QHttpServerRequest>
#include <QHttpServerResponse>
#include <QLoggingCategory>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <charconv>
#include <chrono>
#include <memory>
#include <optional>

#include "apps/shared/Failures.h"

namespace dam {
namespace {

struct Endpoint {
  QHostAddress address;
  uint16_t port;
};

// HOST:PORT, an IPv6 host in brackets. Names are not looked up: the address is the one
// to bind, so that the metrics are never served on an interface nobody chose.
std::optional<Endpoint> ParseEndpoint(const std::string& text) {
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos) return std::nullopt;
  std::string host = text.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  } else if (host.find(':') != std::string::npos) {
    return std::nullopt;
  }
  QHostAddress address;
  if (!address.setAddress(QString::fromStdString(host))) return std::nullopt;
  const std::string port = text.substr(colon + 1);
  unsigned value = 0;
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), value);
  if (port.empty() || error != std::errc() || end != port.data() + port.size() || value > 65535) {
    return std::nullopt;
  }
  return Endpoint{address, static_cast<uint16_t>(value)};
}

// Whoever may connect to the port must not cost the drivers their descriptors (a save that
// cannot open its database file loses the subgroup) or the process its memory, nor keep the
// monitoring system out: past kMaxClients open connections a new one is closed at once, a
// connection gets one answer and kTimeLimit for its request and that answer (a client that
// never sends, sends one byte a second, or lost its network would hold its place for good),
// and one that sends more than kMaxBytes (a header without end, which the server would hold)
// is cut off. A monitoring system sends a few hundred bytes a scrape, at once.
class BoundedListener : public QTcpServer {
 protected:
  void incomingConnection(qintptr descriptor) override {
    auto socket = std::make_unique<QTcpSocket>(this);
    if (open_ >= kMaxClients || !socket->setSocketDescriptor(descriptor)) {
      ::close(static_cast<int>(descriptor));
      return;
    }
    ++open_;
    QTcpSocket* client = socket.get();
    connect(client, &QObject::destroyed, this, [this] { --open_; });
    // The socket's own, so that a client that connects in a loop does not pile up timers.
    auto* limit = new QTimer(client);
    limit->callOnTimeout(client, [client] { Cut(client); });
    limit->start(kTimeLimit);
    auto received = std::make_shared<qint64>(0);
    connect(client, &QIODevice::readyRead, client, [client, received] {
      *received += client->bytesAvailable();
      if (*received > kMaxBytes) Cut(client);
    });
    // A client that spoke HTTP/1.0 or asked for "Connection: close" reads until the end.
    connect(client, &QIODevice::bytesWritten, client, [client] {
      if (client->bytesToWrite() == 0) client->disconnectFromHost();
    });
    addPendingConnection(socket.release());
  }

 private:
  // Before the server reads from the socket: a read of a closed socket is a warning in the
  // journal, which an attacker could fill until it drops the drivers' lines.
  static void Cut(QTcpSocket* client) {
    disconnect(client, &QIODevice::readyRead, nullptr, nullptr);
    client->abort();
  }

  static constexpr int kMaxClients = 64;
  static constexpr std::chrono::seconds kTimeLimit{5};
  static constexpr qint64 kMaxBytes = 1 << 20;
  int open_ = 0;
};

class Http : public MetricsHttp {
 public:
  Http(std::function<std::string()> render, std::function<Health()> check) {
    // Qt warns of each request for a WebSocket, which a client could send until the journal
    // drops the drivers' lines.
    QLoggingCategory::setFilterRules("qt.httpserver.warning=false");
    server_.route("/metrics", QHttpServerRequest::Method::Get, [render = std::move(render)] {
      return QHttpServerResponse("text/plain; version=0.0.4; charset=utf-8",
                                 QByteArray::fromStdString(render()));
    });
    server_.route("/healthz", QHttpServerRequest::Method::Get, [check = std::move(check)] {
      const Health health = check();
      return QHttpServerResponse(
          "text/plain; charset=utf-8", QByteArray::fromStdString(health.reasons),
          health.healthy ? QHttpServerResponse::StatusCode::Ok
                         : QHttpServerResponse::StatusCode::ServiceUnavailable);
    });
    server_.afterRequest([](QHttpServerResponse&& response) {
      response.addHeader("Connection", "close");
      return std::move(response);
    });
  }

  uint16_t Listen(const std::string& address, const std::string& setting) override {
    const std::optional<Endpoint> endpoint = ParseEndpoint(address);
    if (!endpoint) {
      throw apps::Failure(
          apps::kExitInvalidConfiguration,
          setting + " '" + address + "' is not an address and port (127.0.0.1:9464, [::1]:9464)");
    }
    // A socket of our own, for the reason a listen fails.
    auto socket = std::make_unique<BoundedListener>();
    if (!socket->listen(endpoint->address, endpoint->port)) {
      throw apps::Failure(apps::kExitFailure, "cannot serve the metrics on " + address + " (" +
                                                  setting +
                                                  "): " + socket->errorString().toStdString());
    }
    const uint16_t port = socket->serverPort();
    socket->setParent(&server_);
    server_.bind(socket.release());
    return port;
  }

 private:
  QHttpServer server_;
};

}  // namespace
}  // namespace dam

extern "C" dam::MetricsHttp* DamMetricsHttp(std::function<std::string()> render,
                                            std::function<dam::Health()> check) {
  return new dam::Http(std::move(render), std::move(check));
}
