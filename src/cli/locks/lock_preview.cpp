#include "cli/locks/lock_preview.h"

#include <cstdio>

#include <tvlclient/errors.h>

#include "cli/locks/lock_answer.h"

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

ExitStatus Preview(const Options& options, Reporter& reporter, const std::string& object, int held_exit,
                   const char* would) {
  const LockAnswer answer = OwnerOf(options, object);
  const bool held = answer.IsHeldByOther();
  const auto exit = static_cast<ExitStatus>(held ? held_exit : kDone);
  if (reporter.PrintsJson()) {
    JsonObject document = reporter.Document();
    answer.Describe(object, document);
    reporter.Print(document.Flag("dry_run", true).Number("exit", static_cast<int>(exit)));
  } else if (!held) {
    reporter.PrintDone(object + ": " + would);
  }
  if (held) reporter.Fail(object, {exit, 0, answer.HolderText()});
  return exit;
}

}  // namespace

ExitStatus PreviewLock(const Options& options, Reporter& reporter, const std::string& object, int held_exit) {
  return Preview(options, reporter, object, held_exit, "would be locked");
}

ExitStatus PreviewUnlock(const Options& options, Reporter& reporter, const std::string& object) {
  return Preview(options, reporter, object, kHeld, "not locked");
}

}  // namespace tvl::cli
