#include "cli/server_health.h"

#include "cli/health_page.h"
#include "cli/output/failure.h"
#include "cli/stall_watch.h"

namespace tvl::cli {
namespace {

constexpr char kScheme[] = "http://";
constexpr int kHttpOk = 200;

}  // namespace

ServerHealth AskHealth(const std::string& url, std::chrono::seconds limit) {
  if (!url.starts_with(kScheme))
    throw Stop("--health needs an address that begins with " + std::string(kScheme));
  const std::size_t slash = url.find('/', sizeof kScheme - 1);
  const std::string path =
      slash == std::string::npos || slash + 1 == url.size() ? "/healthz" : url.substr(slash);
  const WaitsFor waits(url);
  // Less than the limit of the program in total, so that a silent page is reported among the other findings.
  const auto patience = std::chrono::milliseconds(limit) / 3;
  const HealthPage page = FetchHealthPage(url.substr(0, slash), path, patience);
  if (page.status < 0) throw Stop("--health: '" + url + "' is not an address of the form http://HOST:PORT");
  if (page.status == 0) return {false, "no answer from " + url};
  std::string text = page.text;
  while (text.ends_with('\n') || text.ends_with('\r')) text.pop_back();
  const bool is_good = page.status == kHttpOk;
  return {is_good, is_good ? text : std::to_string(page.status) + " " + text};
}

}  // namespace tvl::cli
