#include "engine/plugin_module.h"

#include <dlfcn.h>
#include <unistd.h>

#include <mutex>
#include <string>

#include "host/sync.h"
#include "host/system_calls.h"

namespace tvl::engine {
namespace {

constexpr char kModule[] = "vbctree-postgres.so";

std::string PathOfModule() {
  Dl_info self = {};
  if (dladdr(reinterpret_cast<const void*>(&PostgresPlugin), &self) == 0 || self.dli_fname == nullptr)
    return kModule;
  return FolderOf(self.dli_fname) + kModule;
}

StoragePlugin* Load(const std::string& path) {
  if (System().access(path.c_str(), F_OK) != 0) {
    NoteError(
        "the rows are in PostgreSQL, and vbctree-postgres.so is not installed next to vbctree.so "
        "(package tvlclient-engine-postgresql)");
    return nullptr;
  }
  void* const module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    const char* const reason = dlerror();
    NoteError(
        (std::string("vbctree-postgres.so cannot be loaded: ") + (reason == nullptr ? "" : reason)).c_str());
    return nullptr;
  }
  const auto entry = reinterpret_cast<PluginEntry>(dlsym(module, kPluginEntry));
  StoragePlugin* const plugin = entry == nullptr ? nullptr : entry(TVL_VERSION, NoteError);
  if (plugin == nullptr) NoteError("vbctree-postgres.so is of another release than vbctree.so");
  return plugin;
}

}  // namespace

// The module is never unloaded, because tables are closed while the process exits.
StoragePlugin* PostgresPlugin() {
  static std::mutex& mutex = *new std::mutex;
  static StoragePlugin* plugin = nullptr;
  const std::lock_guard guard(mutex);
  if (plugin == nullptr) plugin = Load(PathOfModule());
  return plugin;
}

}  // namespace tvl::engine
