#ifndef TVL_SERVER_SERVICE_MANAGER_SERVICE_MANAGER_H
#define TVL_SERVER_SERVICE_MANAGER_SERVICE_MANAGER_H

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "server/log/log.h"
#include "server/service_manager/notify_socket.h"

namespace tvl::server {

// Keeps the service manager that started the server informed of its state. Without a manager, as on a command
// line, nothing happens. On the network's thread only, and its heartbeats are work of that thread: they stop
// when it hangs.
class ServiceManager {
 public:
  // Reads NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID. `status` returns a line for the administrator.
  ServiceManager(asio::io_context& context, Log& log, std::function<std::string()> status);

  // The server serves; from now on there are heartbeats.
  void ReportReady();

  // The server reads its lists again. Followed by ReportReady, whether or not they could be read.
  void ReportReloading();

  // The server ends, and so do the heartbeats.
  void ReportStopping();

 private:
  void Send(const std::string& lines);
  void Beat();
  void WaitForBeat();

  Log& log_;
  const std::function<std::string()> status_;
  asio::steady_timer timer_;
  std::optional<NotifySocket> socket_;
  bool watched_ = false;
  std::chrono::microseconds period_;
  std::string last_status_;
  bool failed_ = false;
};

}  // namespace tvl::server

#endif
