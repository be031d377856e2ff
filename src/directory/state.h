#ifndef TVL_DIRECTORY_STATE_H
#define TVL_DIRECTORY_STATE_H

#include <memory>
#include <vector>

#include <tvlclient/smb_opr.h>

#include "config/config.h"
#include "directory/left_out.h"
#include "directory/sync_results.h"
#include "platform/transfer_group.h"
#include "platform/writing.h"
#include "presence/connection.h"

// The state of a directory connection in addition to that of the base class.
struct CTVLClientSmbOpr::State {
  State() = default;
  // Presence and locks stay with the source.
  State(const State& other);
  State& operator=(const State& other);
  ~State() = default;

  // Returns false in a forked child of the process that opened the connection, which cannot use it.
  [[nodiscard]] bool IsAlive() const { return connection != nullptr && connection->IsOwnProcess(); }

  // Returns how the connection writes its targets. `failure` is the code for a target that a group could not
  // complete.
  [[nodiscard]] tvl::Writing Writing(int failure) const {
    return {.safety = tvl::SafetyOf(config.safeOnTransfert), .group = group.get(), .failure = failure};
  }

  // Returns true if operations that only read the store are allowed: on an open connection, and after
  // Preview.
  [[nodiscard]] bool MayLook() const { return previewed || IsAlive(); }

  // What looks at the store after Preview, without a presence of its own; null on an open connection.
  [[nodiscard]] std::unique_ptr<CConnection> NewReader() const {
    return previewed ? std::make_unique<CConnection>(config.locksDir, config.procsDir, "") : nullptr;
  }

  CConfig config;
  std::unique_ptr<CConnection>
      connection;  // uses texts of `config`, so it is destroyed first; null while none is open
  char serverRoot[tvl::kMaxPath] = {};  // full path of the document root, with a trailing backslash
  bool met_table_damage = false;
  std::unique_ptr<tvl::TransferGroup> group;  // between BeginTransfers and EndTransfers
  bool expects_new = false;                   // of transfers, see TransfersExpectNew
  bool previewed = false;
  bool folders_later = false;  // a synchronization creates its folders with the work, not with the plan
  bool set_times = false;      // and sets the times of what it copied
  std::vector<tvl::LeftOut> left_out;  // of the plan
  tvl::SyncResults sync_results;       // of the plan that was carried out last
};

#endif
