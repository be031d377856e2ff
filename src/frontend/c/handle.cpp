#include "frontend/c/handle.h"

#include <utility>

namespace tvl::c {
namespace {

// The codes of this interface itself have no reason in the system, and a step of the call that failed, such
// as a probe for the owner of a lock, does not explain them.
bool MayHaveReason(int code) {
  return code != TVL_ERR_NOT_SUPPORTED && code < TVL_ERR_ARGUMENT;
}

}  // namespace

Connection::Connection(std::unique_ptr<CTVLClientSmbOpr> directory)
    : process_(GetCurrentProcessId()), client_(nullptr), directory_(directory.get()), server_(nullptr) {
  client_ = std::move(directory);
}

Connection::Connection(std::unique_ptr<CTVLClientTcpOpr> server)
    : process_(GetCurrentProcessId()), client_(nullptr), directory_(nullptr), server_(server.get()) {
  client_ = std::move(server);
}

// A thread of the parent may have been changing the connection when this child was forked. Its memory is then
// lost, rather than freed in an unknown state.
Connection::~Connection() {
  if (IsOwnProcess()) return;
  if (mutex_.try_lock()) {
    mutex_.unlock();
  } else {
    static_cast<void>(client_.release());
  }
}

int Connection::Keep(int code) {
  const Failure failure = {code, {}, nullptr};
  const std::lock_guard lock(failure_mutex_);
  failure_ = failure;
  return code;
}

// Called on the thread of the call, since the system's reason belongs to the thread.
int Connection::Ended(int code) {
  if (code == TVL_OK) return code;
  const Failure failure = {code, MayHaveReason(code) ? TakeLastError() : LastError(), refusal_};
  const std::lock_guard lock(failure_mutex_);
  failure_ = failure;
  return code;
}

void Connection::NoteRefusal() {
  if (Server() != nullptr) refusal_ = MeaningOfRefusal(Server()->Refusal());
}

int Connection::ReportTo(tvlc_error* error) {
  if (!IsOwnProcess()) return Report({TVL_ERR_NOT_CONNECTED, {}, nullptr}, error);
  const std::lock_guard lock(failure_mutex_);
  return Report(failure_, error);
}

}  // namespace tvl::c
