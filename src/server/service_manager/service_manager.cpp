#include "server/service_manager/service_manager.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <utility>

#include "server/service_manager/environment.h"

namespace tvl::server {
namespace {

using std::chrono::microseconds;

constexpr microseconds kStatusPeriod = std::chrono::seconds(10);

// How long the manager waits for a heartbeat of this process; zero if it does not.
microseconds WatchdogTimeout() {
  if (EnvironmentNumber("WATCHDOG_PID").value_or(getpid()) != getpid()) return microseconds::zero();
  return microseconds(std::max<std::int64_t>(EnvironmentNumber("WATCHDOG_USEC").value_or(0), 0));
}

std::string MonotonicMicroseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const auto time = std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
  return std::to_string(std::chrono::duration_cast<microseconds>(time).count());
}

}  // namespace

ServiceManager::ServiceManager(asio::io_context& context, Log& log, std::function<std::string()> status)
    : log_(log), status_(std::move(status)), timer_(context), period_(kStatusPeriod) {
  const std::string_view address = EnvironmentText("NOTIFY_SOCKET");
  if (address.empty()) return;
  try {
    socket_.emplace(std::string(address));
  } catch (const std::exception& problem) {
    log_.Write({.what = "notify", .level = Level::kWarning, .note = problem.what()});
    return;
  }
  const microseconds timeout = WatchdogTimeout();
  watched_ = timeout > microseconds::zero();
  // Half the time, so that one late heartbeat does not end the server.
  if (watched_) period_ = std::clamp(timeout / 2, microseconds(1), kStatusPeriod);
}

void ServiceManager::ReportReady() {
  if (!socket_) return;
  last_status_ = status_();
  Send("READY=1\nSTATUS=" + last_status_);
  Beat();
}

void ServiceManager::ReportReloading() {
  if (socket_) Send("RELOADING=1\nMONOTONIC_USEC=" + MonotonicMicroseconds());
}

void ServiceManager::ReportStopping() {
  timer_.cancel();
  if (socket_) Send("STOPPING=1");
  socket_.reset();  // a reload that comes later must not start the heartbeats again
}

// A lost notification must not go unnoticed, nor fill the log where all are lost.
void ServiceManager::Send(const std::string& lines) {
  const bool sent = socket_->Send(lines);
  const int error = errno;
  if (!sent && !failed_) {
    log_.Write({.what = "notify",
                .level = Level::kWarning,
                .note = "service manager not reached: " + std::generic_category().message(error)});
  }
  failed_ = !sent;
}

void ServiceManager::Beat() {
  std::string lines = watched_ ? "WATCHDOG=1\n" : "";
  if (std::string status = status_(); status != last_status_) {
    lines += "STATUS=" + status;
    last_status_ = std::move(status);
  }
  if (!lines.empty()) Send(lines);
  WaitForBeat();
}

void ServiceManager::WaitForBeat() {
  timer_.expires_after(period_);
  timer_.async_wait([this](const asio::error_code& problem) {
    if (!problem) Beat();
  });
}

}  // namespace tvl::server
