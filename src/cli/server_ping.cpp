#include "cli/server_ping.h"

#include <cstdio>

#include <tvlclient/errors.h>
#include <tvlclient/tcp_opr.h>

#include "cli/output/text.h"
#include "cli/store.h"

namespace tvl::cli {
namespace {

using Clock = std::chrono::steady_clock;

std::chrono::microseconds Since(Clock::time_point begin) {
  return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
}

std::string Milliseconds(std::chrono::microseconds time) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f ms", std::chrono::duration<double, std::milli>(time).count());
  return text;
}

}  // namespace

std::string ServerPing::Text() const {
  return "version " + (version.empty() ? "unknown" : Printable(version)) + ", connected in " +
         Milliseconds(connecting) + ", round trip " + Milliseconds(round_trip);
}

void ServerPing::Describe(JsonObject& document) const {
  if (!version.empty()) document.Text("version", version);
  document.Number("connect_us", connecting.count()).Number("round_trip_us", round_trip.count());
}

ServerPing PingServer(const Options& options) {
  const auto begin = Clock::now();
  Store store(options, {}, UseOf(options));
  const std::chrono::microseconds connecting = Since(begin);
  const auto sent = Clock::now();
  if (const int code = store.Server()->Ping()) throw Stop(options.tcp, LibraryFailure(code));
  return {store.Server()->ServerVersion(), connecting, Since(sent)};
}

}  // namespace tvl::cli
