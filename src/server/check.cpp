#include "server/check.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "host/system_calls.h"
#include "platform/host_path.h"
#include "store/layout.h"
#include "transfer/compare.h"

namespace tvl::server {
namespace {

std::string Line(const std::string& name, const std::string& value) {
  constexpr std::size_t kColumn = 14;
  std::string line = name + ":";
  line.resize(std::max(line.size() + 1, kColumn), ' ');
  return line + value + "\n";
}

std::string Where(const ListenAddress& address) {
  if (!address.sockets.empty()) return std::to_string(address.sockets.size()) + " from the service manager";
  if (address.port.empty()) return "nowhere";
  const bool is_v6 = address.host.find(':') != std::string::npos;
  return (is_v6 ? "[" + address.host + "]" : address.host) + ":" + address.port;
}

std::string Compared(int policy) {
  switch (policy) {
    case kCompareTime:
      return "by size and time";
    case kCompareDumb:
      return "not at all";
    default:
      return "by size and SHA-1";
  }
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

std::string NumberOrNone(std::uint64_t number) {
  return number == 0 ? "no limit" : std::to_string(number);
}

void CheckFolder(const char* what, const std::string& path) {
  if (System().access((path + "/.").c_str(), R_OK | W_OK | X_OK) != 0)
    throw std::runtime_error(std::string(what) + " is not readable and writable: " + path);
}

}  // namespace

std::string DescribePlan(const Options& options, CConfig& config) {
  const std::string root = HostPath(config.Get(kDocumentRootKey)).Text();
  CheckFolder("the document root", root);
  const std::string temporary = HostPath(config.Get(kTmpDirKey)).Text();
  if (System().access(temporary.c_str(), F_OK) == 0)
    CheckFolder("the temporary folder", temporary);  // or it is created
  const AdmissionSources& sources = options.admission;
  std::string plan = Line("store", root);
  plan += Line("compares", Compared(config.fileCompare));
  plan += Line("compresses", config.zipOnTransfert != 0 ? "yes" : "no");
  plan += Line("listens", Where(options.plain));
  if (options.status.IsUsed()) plan += Line("status", Where(options.status));
  if (options.proxy.IsUsed()) plan += Line("for proxies", Where(options.proxy));
  plan += Line("admits", sources.allow.empty() ? "any address" : Joined(sources.allow));
  plan += Line("tags", sources.tags.empty() ? "any" : "those in " + sources.tags);
  if (options.user_from_certificate || !sources.users.empty()) {
    plan += Line("certificates", sources.users.empty() ? "any verified one" : "those in " + sources.users);
  }
  plan += Line("clients", std::to_string(options.max_clients) +
                              ", per address: " + NumberOrNone(options.max_clients_per_address));
  plan += Line("locks", "per client: " + NumberOrNone(options.max_locks_per_client));
  plan += Line("largest file", NumberOrNone(options.max_file));
  plan += Line("log", options.log.file.empty() ? "standard error" : options.log.file);
  return plan;
}

}  // namespace tvl::server
