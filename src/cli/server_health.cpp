#include "cli/server_health.h"

#include <httplib.h>

#include <algorithm>

#include "cli/output/failure.h"
#include "cli/stall_watch.h"

namespace tvl::cli {
namespace {

constexpr char kScheme[] = "http://";
constexpr std::size_t kLongestAnswer = 1000;
constexpr int kHttpOk = 200;

}  // namespace

ServerHealth AskHealth(const std::string& url, std::chrono::seconds limit) {
  if (!url.starts_with(kScheme))
    throw Stop("--health needs an address that begins with " + std::string(kScheme));
  const std::size_t slash = url.find('/', sizeof kScheme - 1);
  const std::string path =
      slash == std::string::npos || slash + 1 == url.size() ? "/healthz" : url.substr(slash);
  const WaitsFor waits(url);
  httplib::Client client(url.substr(0, slash));
  if (!client.is_valid())
    throw Stop("--health: '" + url + "' is not an address of the form http://HOST:PORT");
  // Less than the limit of the program in total, so that a silent page is reported among the other findings.
  const auto patience = std::chrono::milliseconds(limit) / 3;
  client.set_connection_timeout(patience);
  client.set_read_timeout(patience);
  int status = 0;
  std::string text;
  client.Get(
      path,
      [&](const httplib::Response& response) {
        status = response.status;
        return true;
      },
      [&](const char* data, std::size_t size) {
        text.append(data, std::min(size, kLongestAnswer - text.size()));
        return text.size() < kLongestAnswer;
      });
  if (status == 0) return {false, "no answer from " + url};
  while (text.ends_with('\n') || text.ends_with('\r')) text.pop_back();
  return {status == kHttpOk, status == kHttpOk ? text : std::to_string(status) + " " + text};
}

}  // namespace tvl::cli
