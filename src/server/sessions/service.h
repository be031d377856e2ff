#ifndef TVL_SERVER_SESSIONS_SERVICE_H
#define TVL_SERVER_SESSIONS_SERVICE_H

#include <asio/thread_pool.hpp>
#include <chrono>
#include <cstddef>
#include <string>

#include "config/config.h"
#include "server/files/hash_cache.h"
#include "server/files/made_folders.h"
#include "server/files/parts.h"
#include "server/files/store_root.h"
#include "server/log/log.h"
#include "server/metrics/status.h"
#include "server/sessions/lock_queue.h"
#include "server/sessions/work_pool.h"
#include "server/settings/options.h"
#include "server/wire/client_count.h"
#include "server/wire/tag_guard.h"

namespace tvl::server {

// State that the sessions of all clients share.
struct Service {
  // Opens the store of a loaded configuration. Throws std::system_error.
  Service(const Options& given, CConfig& loaded, Log& log_to_use);
  ~Service();

  const Options& options;
  const CConfig& config;
  const std::chrono::system_clock::time_point started = std::chrono::system_clock::now();
  const std::string short_name;
  const std::string long_name;
  Log& log;
  Status status;
  Admission admission;  // replaced by a reload
  ClientCount clients;
  TagGuard tag_guard;
  StoreRoot root;
  Parts parts;
  MadeFolders made_folders;
  HashCache hashes;
  WorkPool files;            // all work that may wait for the disk
  WorkPool first_pieces;     // first pieces of files to hash, including all of small ones
  WorkPool hashing;          // the rest of large files
  asio::thread_pool engine;  // one thread: presence and locks
  LockQueue locks;
};

}  // namespace tvl::server

#endif
