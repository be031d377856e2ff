#ifndef TVL_CLI_LOCKS_LOCK_ANSWER_H
#define TVL_CLI_LOCKS_LOCK_ANSWER_H

#include <string>

#include <tvlclient/store.h>

#include "cli/options.h"
#include "cli/output/json.h"
#include "cli/store.h"

namespace tvl::cli {

// The result of a lock operation.
struct LockAnswer {
  int state = TVL_LOCK_FREE;
  int instance = 0;
  int pid = 0;
  char computer[64] = {};
  char address[16] = {};
  char user[65] = {};

  [[nodiscard]] bool IsHeldByOther() const {
    return state == TVL_LOCK_OTHER_INSTANCE || state == TVL_LOCK_OTHER_COMPUTER;
  }

  // "ann on pc7"
  [[nodiscard]] std::string Holder() const;
  // "held by ann on pc7 (10.0.0.7), instance 2, process 4711"
  [[nodiscard]] std::string HolderText() const;
  void Describe(const std::string& object, JsonObject& document) const;
};

// Both throw Stop if the library reports a failure.
[[nodiscard]] LockAnswer AskForLock(Store& store, std::string object);
[[nodiscard]] LockAnswer AskForUnlock(Store& store, std::string object);

// Throws Stop if `object` is not a valid name.
void CheckObject(const std::string& object);

// Returns the working directory for commands that touch no local files: empty for a directory store, whose
// own folder is used in place.
[[nodiscard]] std::string NoWorkingDirectory(const Options& options);

// Explains why the lock table cannot be used.
[[nodiscard]] Failure LockTableFailure(const Store& store);

// Explains why this client is not present in the store, so that other clients would ignore its locks.
[[nodiscard]] Failure PresenceFailure(const Store& store);

}  // namespace tvl::cli

#endif
