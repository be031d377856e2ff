#ifndef TVL_DIRECTORY_STATE_H
#define TVL_DIRECTORY_STATE_H

#include <memory>

#include <tvlclient/smb_opr.h>

#include "config/config.h"
#include "presence/connection.h"

// What a directory connection holds beyond the base class.
struct CTVLClientSmbOpr::State {
  State() = default;
  // Presence and locks stay with the source.
  State(const State& other);
  State& operator=(const State& other);
  ~State() = default;

  // False in a forked child of the process that opened the connection, where it is dead.
  [[nodiscard]] bool IsAlive() const { return connection != nullptr && connection->IsOwnProcess(); }

  CConfig config;
  std::unique_ptr<CConnection>
      connection;  // borrows folders from `config`, so it goes first; null while none is open
  char serverRoot[tvl::kMaxPath] = {};  // full path of the document root, with a trailing backslash
  bool met_table_damage = false;
  bool folders_later = false;  // a synchronisation makes its folders with the work, not with the plan
};

#endif
