#include "cli/locks/lock_preview.h"

#include <cstdio>

#include <tvlclient/errors.h>

#include "cli/locks/lock_answer.h"
#include "cli/output/console.h"
#include "cli/output/json.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

// An object and its live owner, if there is one.
struct Search {
  std::string object;
  LockAnswer answer;
};

void NoteOwner(const TVLStandingLock* lock, void* search_to_fill) {
  auto& search = *static_cast<Search*>(search_to_fill);
  if (lock->alive == 0 || search.object != lock->object) return;
  LockAnswer& answer = search.answer;
  answer.state = TVL_LOCK_OTHER_INSTANCE;
  answer.instance = lock->instance;
  answer.pid = lock->pid;
  std::snprintf(answer.computer, sizeof answer.computer, "%s", lock->computer);
  std::snprintf(answer.address, sizeof answer.address, "%s", lock->ipAddress);
  std::snprintf(answer.user, sizeof answer.user, "%s", lock->user);
}

LockAnswer OwnerOf(const Options& options, const std::string& object) {
  Store store(options, {}, Store::Use::kLook);
  for (const Failure& failure : {PresenceFailure(store), LockTableFailure(store)}) {
    if (failure.error != 0) throw Stop(object, failure);
  }
  Search search = {object, {}};
  if (store.Directory()->ListLocks(NoteOwner, &search) != TVL_OK) throw Stop(object, LockTableFailure(store));
  return search.answer;
}

ExitStatus Preview(const Options& options, const std::string& command, const std::string& object,
                   int held_exit, const char* would) {
  const LockAnswer answer = OwnerOf(options, object);
  const bool held = answer.IsHeldByOther();
  const int exit = held ? held_exit : kDone;
  Console console;
  if (options.json) {
    JsonObject document;
    answer.Describe(object, document.Text("command", command));
    console.Out(document.Flag("dry_run", true).Number("exit", exit).Line());
  }
  if (held) {
    console.Err("tvl: " + command + ": " + Printable(object + ": " + answer.HolderText()));
  } else if (!options.json && !options.quiet) {
    console.Out(Printable(object) + ": " + would);
  }
  return static_cast<ExitStatus>(exit);
}

}  // namespace

ExitStatus PreviewLock(const Options& options, const std::string& object, int held_exit) {
  return Preview(options, "lock", object, held_exit, "would be locked");
}

ExitStatus PreviewUnlock(const Options& options, const std::string& object) {
  return Preview(options, "unlock", object, kHeld, "not locked");
}

}  // namespace tvl::cli
