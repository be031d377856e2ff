#include "cli/locks/lock_answer.h"

#include <cerrno>

#include <tvlclient/errors.h>
#include <tvlclient/tvl.h>

#include "cli/configuration.h"
#include "cli/local_file.h"
#include "cli/stall_watch.h"

namespace tvl::cli {
namespace {

using LockCall = int (CTVLClientOpr::*)(char*, int*, char*, int*, int*, char*, char*);

LockAnswer Ask(Store& store, LockCall call, std::string object) {
  LockAnswer answer;
  const WaitsFor waits("the lock table of " + store.Name());
  ForgetFileErrors();
  const int code = (store.Client().*call)(object.data(), &answer.state, answer.computer, &answer.instance,
                                          &answer.pid, answer.address, answer.user);
  if (code != TVL_OK) throw Stop(object, LibraryFailure(code));
  return answer;
}

// Describes a failure at a path in the temporary folder. Finds the errno value if this client lacks access to
// it.
Failure TemporaryFailure(const Store& store, const char* what, char (TVLStoreLayout::*part)[TVL_PATH_SIZE],
                         Access access) {
  Failure failure = {kUnreachable, 0, what, 0, {}};
  const TVLStoreLayout layout = store.Layout();
  failure.path = layout.*part;
  if (failure.path.empty()) return failure;
  failure.error = AccessProblem(failure.path, access);
  return failure;
}

}  // namespace

std::string LockAnswer::Holder() const {
  return std::string(user) + " on " + computer;
}

std::string LockAnswer::HolderText() const {
  return "held by " + Holder() + " (" + address + "), instance " + std::to_string(instance) + ", process " +
         std::to_string(pid);
}

void LockAnswer::Describe(const std::string& object, JsonObject& document) const {
  document.Text("object", object).Number("state", state);
  if (state == TVL_LOCK_FREE) return;
  document.Text("computer", computer).Text("address", address).Text("user", user);
  document.Number("instance", instance).Number("pid", pid);
}

LockAnswer AskForLock(Store& store, std::string object) {
  return Ask(store, &CTVLClientOpr::Lock, std::move(object));
}

LockAnswer AskForUnlock(Store& store, std::string object) {
  return Ask(store, &CTVLClientOpr::Unlock, std::move(object));
}

void CheckObject(const std::string& object) {
  if (object.empty() || object.size() > TVL_LONGEST_OBJECT)
    throw Stop("the name of an object must have 1 to " + std::to_string(TVL_LONGEST_OBJECT) + " bytes");
}

std::string NoWorkingDirectory(const Options& options) {
  return options.tcp.empty() ? std::string() : FindWorkingDirectory(options);
}

Failure LockTableFailure(const Store& store) {
  Failure failure = TemporaryFailure(store, "the lock table cannot be used", &TVLStoreLayout::lockTable,
                                     Access::kReadAndWrite);
  const std::string reason = TVLLastTableFailure();
  if (failure.error == 0 && !failure.path.empty())
    failure.what += "; " + (reason.empty() ? "it is busy or damaged" : reason);
  if (failure.error == ENOENT) failure.hint = "run 'tvl init --missing' to create it";
  return failure;
}

Failure PresenceFailure(const Store& store) {
  return TemporaryFailure(store, "this client has no presence marker, so no lock of it would count",
                          &TVLStoreLayout::procs, Access::kChangeFolder);
}

}  // namespace tvl::cli
