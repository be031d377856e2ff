#ifndef TVL_CLI_LOCK_ANSWER_H
#define TVL_CLI_LOCK_ANSWER_H

#include <string>

#include <tvlclient/store.h>

#include "cli/json.h"
#include "cli/options.h"
#include "cli/store.h"

namespace tvl::cli {

// What a lock operation found or did.
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

// Both throw Stop if the question cannot be asked.
[[nodiscard]] LockAnswer AskForLock(Store& store, std::string object);
[[nodiscard]] LockAnswer AskForUnlock(Store& store, std::string object);

// Throws Stop for a name that no object can have.
void CheckObject(const std::string& object);

// Nothing local is touched by the commands of locks: on a directory they use the store's own folder in place.
[[nodiscard]] std::string NoWorkingDirectory(const Options& options);

// Why the lock table cannot be used.
[[nodiscard]] Failure LockTableFailure(const Store& store);

// Why this client is not present in the store, so that a lock would count for nobody.
[[nodiscard]] Failure PresenceFailure(const Store& store);

}  // namespace tvl::cli

#endif
