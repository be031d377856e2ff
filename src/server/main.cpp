#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>

#include <tvlclient/errors.h>

#include "config/config.h"
#include "server/check.h"
#include "server/server.h"
#include "server/sessions/service.h"
#include "server/settings/options.h"
#include "server/status/status_server.h"
#include "server/wire/open_files.h"

namespace tvl::server {
namespace {

void LoadConfiguration(const Options& options, CConfig& config) {
  const std::string& path = options.config;
  const int code = options.check ? config.Read(path.c_str()) : config.Load(path.c_str());
  if (code != TVL_OK) {
    throw std::runtime_error("configuration " + path + " is not valid for a store, code " +
                             std::to_string(code));
  }
}

void FitClients(Options& options, Log& log) {
  const std::size_t others = options.status.IsUsed() ? StatusServer::kOpenFiles : 0;
  const std::size_t fitting = MakeRoomForClients(options.max_clients, others);
  if (fitting == options.max_clients) return;
  options.max_clients = fitting;
  log.Write({.what = "limit",
             .level = Level::kWarning,
             .note = "the limit of open files is enough for " + std::to_string(fitting) + " clients only"});
}

void Serve(Options& options) {
  CConfig config;
  LoadConfiguration(options, config);
  if (options.check) {
    std::fputs(DescribePlan(options, config).c_str(), stdout);
    return;
  }
  Log log(options.log);
  FitClients(options, log);
  Service service(options, config, log);
  if (const int removed = service.parts.RemoveLeftovers(service.root)) {
    log.Write({.what = "tidy", .note = "removed " + std::to_string(removed) + " unfinished puts"});
  }
  std::optional<StatusServer> status;
  if (options.status.IsUsed()) status.emplace(service);
  Server server(service);
  server.Listen();
  server.Run();
}

int Main(int count, char** arguments) try {
  std::signal(SIGPIPE, SIG_IGN);  // standard error may be a pipe whose reader is gone
  std::signal(SIGXFSZ, SIG_IGN);  // a file beyond the limit of this process fails one put, not the server
  Options options;
  const int code = ParseOptions(count, arguments, options);
  if (code >= 0) return code;
  Serve(options);
  return EXIT_SUCCESS;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "tvlserver: %s\n", problem.what());
  return EXIT_FAILURE;
}

}  // namespace
}  // namespace tvl::server

int main(int count, char** arguments) {
  return tvl::server::Main(count, arguments);
}
