#include "cli/health_page.h"

#include <dlfcn.h>

#include <array>

#include "cli/host_path.h"
#include "cli/output/failure.h"
#include "cli/posix/health_module.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestAnswer = 1000;

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

HealthPage FetchHealthPage(const std::string& origin, const std::string& path,
                           std::chrono::milliseconds patience) {
  std::array<char, kLongestAnswer + 1> answer = {};
  const int status = LoadPageFunction()(origin.c_str(), path.c_str(), static_cast<long>(patience.count()),
                                        answer.data(), answer.size());
  return {status, answer.data()};
}

}  // namespace tvl::cli
