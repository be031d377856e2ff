#include "cli/server_health.h"

#include <dlfcn.h>

#include <array>

#include "cli/file_status.h"
#include "cli/health_module.h"
#include "cli/output/failure.h"
#include "cli/stall_watch.h"

namespace tvl::cli {
namespace {

constexpr char kScheme[] = "http://";
constexpr std::size_t kLongestAnswer = 1000;
constexpr int kHttpOk = 200;

// The module is in the private folder next to the library.
std::string PathOfModule() {
  Dl_info library = {};
  void* const inside = dlsym(RTLD_DEFAULT, "TVLEngineVersion");
  if (inside == nullptr || dladdr(inside, &library) == 0) return kHealthModule;
  return FolderOf(library.dli_fname) + "/tvlclient/" + kHealthModule;
}

// The module stays loaded until the process ends.
PageFunction* LoadPageFunction() {
  void* const module = dlopen(PathOfModule().c_str(), RTLD_NOW | RTLD_LOCAL);
  void* const function = module == nullptr ? nullptr : dlsym(module, kPageFunction);
  if (function != nullptr) return reinterpret_cast<PageFunction*>(function);
  throw Stop("--health", {kFailed, 0, std::string("cannot load the HTTP client: ") + dlerror()});
}

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
  std::array<char, kLongestAnswer + 1> answer = {};
  const int status = LoadPageFunction()(url.substr(0, slash).c_str(), path.c_str(), patience.count(),
                                        answer.data(), answer.size());
  if (status < 0) throw Stop("--health: '" + url + "' is not an address of the form http://HOST:PORT");
  if (status == 0) return {false, "no answer from " + url};
  std::string text = answer.data();
  while (text.ends_with('\n') || text.ends_with('\r')) text.pop_back();
  return {status == kHttpOk, status == kHttpOk ? text : std::to_string(status) + " " + text};
}

}  // namespace tvl::cli
