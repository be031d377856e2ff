#include "presence/instance_number.h"

#include <mutex>
#include <new>

#include "base/text.h"
#include "platform/names.h"

namespace tvl {
namespace {

// All of this is trivially destructible, because a connection may be closed while the process exits.
std::mutex mutex;  // not constinit, which only some systems' mutexes can be
constinit OwnNumber* first = nullptr;

// The numbers of the parent's instances mean nothing in a forked child.
void ForgetInForkedChild() {
  new (&mutex) std::mutex;
  first = nullptr;
}

int Choose(const LiveNumbers& live) {
  int lowest = kMostInstances;
  int highest = 0;
  int free = 0;
  for (int number = kMostInstances; number >= 0; --number) {
    if (live.test(static_cast<std::size_t>(number))) {
      lowest = number;
      if (highest == 0) highest = number;
    } else if (number > 0) {
      free = number;
    }
  }
  if (live.none()) return 1;
  if (lowest > 1) return lowest - 1;
  return highest < kMostInstances ? highest + 1 : free;
}

}  // namespace

int OwnNumber::Take(const PathText& identity, LiveNumbers live) {
  [[maybe_unused]] static const bool registered = CallInForkedChild(ForgetInForkedChild);
  Release();
  const std::lock_guard<std::mutex> guard(mutex);
  for (const OwnNumber* other = first; other != nullptr; other = other->next_) {
    if (EqualNoCase(other->identity_.Text(), identity.Text()))
      live.set(static_cast<std::size_t>(other->number_));
  }
  number_ = Choose(live);
  if (number_ == 0) return 0;
  identity_ = identity;
  next_ = first;
  first = this;
  return number_;
}

void OwnNumber::Release() {
  const std::lock_guard<std::mutex> guard(mutex);
  for (OwnNumber** link = &first; *link != nullptr; link = &(*link)->next_) {
    if (*link != this) continue;
    *link = next_;
    break;
  }
  number_ = 0;
}

}  // namespace tvl
