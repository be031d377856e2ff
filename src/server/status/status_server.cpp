#include "server/status/status_server.h"

#include <httplib.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "server/service_manager/passed_sockets.h"
#include "server/status/connection_queue.h"
#include "server/status/event_streams.h"
#include "server/status/host_guard.h"
#include "server/status/http_server.h"
#include "server/status/metrics_page.h"
#include "server/status/page_files.h"
#include "server/status/patient_thread.h"
#include "server/status/status_feed.h"
#include "server/status/store_probe.h"
#include "server/wire/port_file.h"

namespace tvl::server {
namespace {

constexpr std::size_t kThreadsForPages = 8;
constexpr std::size_t kWaitingConnections = 16;
constexpr int kBacklog = 256;
static_assert(EventStreams::kMost + kThreadsForPages + kWaitingConnections < StatusServer::kOpenFiles);

constexpr int kSilence = 2;  // seconds
constexpr int kWriteTimeout = 5;
constexpr std::size_t kLongestBody = 1024;
constexpr std::chrono::milliseconds kMetricsPatience(1000);
constexpr std::chrono::milliseconds kHealthPatience(3000);
constexpr std::chrono::milliseconds kUntilForced(5000);

constexpr char kPlainText[] = "text/plain; charset=utf-8";
constexpr char kMetricsType[] = "text/plain; version=0.0.4; charset=utf-8";

// Scripts and styles come from this server alone, and nothing can be sent elsewhere.
constexpr char kContentPolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'";

using httplib::Request;
using httplib::Response;

void Answer(Response& response, int status, const std::string& text) {
  response.status = status;
  response.set_content(text + "\n", kPlainText);
}

// A connection without a request takes no thread. Two servers on one port would share its requests, so that
// is not allowed, as the library would.
void SetUpSocket(int socket) {
  const int on = 1;
  const int silence = kSilence;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  setsockopt(socket, IPPROTO_TCP, TCP_DEFER_ACCEPT, &silence, sizeof silence);
}

// The address of a passed socket, as if it were listened on by an option.
ListenAddress WithAddressOfSocket(ListenAddress address) {
  if (address.sockets.empty()) return address;
  const asio::ip::tcp::endpoint endpoint = EndpointOf(address.sockets.front());
  address.host = endpoint.address().to_string();
  address.port = std::to_string(endpoint.port());
  return address;
}

}  // namespace

class StatusServer::Pages {
 public:
  explicit Pages(const Service& service);
  ~Pages();
  Pages(const Pages&) = delete;
  Pages& operator=(const Pages&) = delete;

 private:
  void SetUp();
  [[nodiscard]] int Bind();
  void Listen();
  [[nodiscard]] bool IsRefused(const Request& request, Response& response) const;
  void AnswerHealth(Response& response);
  void AnswerEvents(Response& response);
  bool SendEvent(httplib::DataSink& sink);

  const Service& service_;
  const ListenAddress address_;
  const HostGuard guard_;
  StoreProbe probe_;
  StatusFeed feed_;
  EventStreams streams_;
  HttpServer http_;
  int socket_ = -1;  // that of http_
  std::optional<PortFile> port_file_;
  std::optional<PatientThread> thread_;
};

StatusServer::Pages::Pages(const Service& service)
    : service_(service),
      address_(WithAddressOfSocket(service.options.status)),
      guard_(address_.host),
      probe_(service.root, service.config),
      feed_(service, probe_) {
  SetUp();
  Listen();
}

void StatusServer::Pages::SetUp() {
  http_.new_task_queue = [] {
    return new ConnectionQueue(EventStreams::kMost + kThreadsForPages, kWaitingConnections);
  };
  http_.set_socket_options([this](int socket) {
    SetUpSocket(socket);
    socket_ = socket;
  });
  http_.set_keep_alive_max_count(1);
  http_.set_keep_alive_timeout(kSilence);
  http_.set_read_timeout(kSilence);
  http_.set_write_timeout(kWriteTimeout);
  http_.set_payload_max_length(kLongestBody);
  http_.set_default_headers({{"Content-Security-Policy", kContentPolicy},
                             {"Cache-Control", "no-store"},
                             {"Cross-Origin-Resource-Policy", "same-origin"},
                             {"Referrer-Policy", "no-referrer"},
                             {"X-Content-Type-Options", "nosniff"}});
  http_.set_pre_routing_handler([this](const Request& request, Response& response) {
    const bool refused = IsRefused(request, response);
    return refused ? httplib::Server::HandlerResponse::Handled : httplib::Server::HandlerResponse::Unhandled;
  });
  http_.set_exception_handler(
      [](const Request&, Response& response, std::exception_ptr) { Answer(response, 500, "failed"); });
  http_.set_error_handler([](const Request&, Response& response) {
    if (response.body.empty())
      Answer(response, response.status, response.status == 404 ? "not found" : "bad request");
  });
  http_.Get("/metrics", [this](const Request&, Response& response) {
    const std::string page = MetricsPage(service_, *probe_.Look(kMetricsPatience), streams_.Open());
    response.set_content(page, kMetricsType);
  });
  http_.Get("/healthz", [this](const Request&, Response& response) { AnswerHealth(response); });
  http_.Get("/events", [this](const Request&, Response& response) { AnswerEvents(response); });
  for (const PageFile& file : PageFiles()) {
    http_.Get(file.path, [&file](const Request&, Response& response) {
      response.set_content(file.contents, file.type);
    });
  }
}

// Returns the number of the port.
int StatusServer::Pages::Bind() {
  const int wanted = std::stoi(address_.port);
  if (!address_.sockets.empty()) {
    SetUpSocket(address_.sockets.front());
    http_.Adopt(address_.sockets.front());
    return wanted;
  }
  const bool bound = wanted == 0 || http_.bind_to_port(address_.host, wanted);
  const int port = wanted == 0 ? http_.bind_to_any_port(address_.host) : wanted;
  if (!bound || port <= 0) {
    throw std::runtime_error("cannot listen for status requests on " + address_.host + ", port " +
                             address_.port);
  }
  listen(socket_, kBacklog);  // the library's backlog is short, and silent connections are in it
  return port;
}

void StatusServer::Pages::Listen() {
  const int port = Bind();
  thread_.emplace([this] { http_.listen_after_bind(); });
  // A stop before that would be lost.
  while (!http_.is_running()) std::this_thread::yield();
  if (!address_.port_file.empty()) port_file_.emplace(address_.port_file, port);
  service_.log.Write({.what = "listen for status", .note = address_.host + ":" + std::to_string(port)});
}

StatusServer::Pages::~Pages() {
  port_file_.reset();
  streams_.Stop();
  probe_.Stop();
  http_.Stop();
  if (thread_->EndsWithin(kUntilForced) && probe_.EndsWithin(kUntilForced)) return;
  service_.log.Write(
      {.what = "stop", .level = Level::kError, .note = "the status pages could not be stopped"});
  std::_Exit(EXIT_SUCCESS);
}

bool StatusServer::Pages::IsRefused(const Request& request, Response& response) const {
  if (!guard_.Allows(request.get_header_value("Host"))) {
    Answer(response, 403, "this is not a name of this server");
    return true;
  }
  if (request.method == "GET" || request.method == "HEAD") return false;
  response.set_header("Allow", "GET, HEAD");
  Answer(response, 405, "the status is read-only");
  return true;
}

void StatusServer::Pages::AnswerHealth(Response& response) {
  const std::shared_ptr<const StoreHealth> health = probe_.Look(kHealthPatience);
  const bool healthy = health->problem.empty();
  Answer(response, healthy ? 200 : 503, healthy ? "ok" : health->problem);
}

void StatusServer::Pages::AnswerEvents(Response& response) {
  std::shared_ptr<void> place = streams_.Take();
  if (!place) {
    Answer(response, 503, "too many event streams");
    return;
  }
  response.set_chunked_content_provider(
      "text/event-stream",
      [this, place = std::move(place), begun = false](std::size_t, httplib::DataSink& sink) mutable {
        const bool go_on = !std::exchange(begun, true) || streams_.AwaitNext();
        if (go_on) return SendEvent(sink);
        sink.done();
        return true;
      });
}

bool StatusServer::Pages::SendEvent(httplib::DataSink& sink) {
  const std::string event = "retry: 2000\ndata: " + *feed_.Latest() + "\n\n";
  return sink.write(event.data(), event.size());
}

StatusServer::StatusServer(const Service& service) : pages_(std::make_unique<Pages>(service)) {}

StatusServer::~StatusServer() = default;

}  // namespace tvl::server
