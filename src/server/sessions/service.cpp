#include "server/sessions/service.h"

#include "platform/host_path.h"
#include "table/tables_file.h"

namespace tvl::server {
namespace {

constexpr std::size_t kFileThreads = 4;
constexpr std::size_t kHashingThreads = 2;
constexpr std::size_t kSignaturesKept = 16384;

std::string Host(const char* path) {
  return HostPath(path).Text();
}

std::string WithoutSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

Service::Service(const Options& given, CConfig& loaded, Log& log_to_use)
    : options(given),
      config(loaded),
      short_name(loaded.Get("ShortName")),
      long_name(loaded.Get("LongName")),
      log(log_to_use),
      admission(ReadAdmission(given.admission)),
      clients(given.max_clients, given.max_clients_per_address),
      root(Host(loaded.documentRoot), {Host(loaded.tmpDir), Host(loaded.locksDir), Host(loaded.procsDir)},
           given.config),
      parts(WithoutSlash(Host(loaded.tmpDir)), status.metrics.parts),
      hashes(kSignaturesKept),
      files(kFileThreads, status.metrics.files),
      first_pieces(kHashingThreads, status.metrics.first_pieces),
      hashing(kHashingThreads, status.metrics.hashing),
      engine(1),
      locks(engine, loaded.locksDir, status.metrics.engine) {
  ObeyTablesFile(loaded);
}

Service::~Service() {
  files.Join();
  first_pieces.Join();
  hashing.Join();
  engine.join();
}

}  // namespace tvl::server
