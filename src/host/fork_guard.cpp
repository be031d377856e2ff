#include "host/fork_guard.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <memory>
#include <new>
#include <utility>

#include "host/system_calls.h"

namespace tvl {
namespace {

// Without a substitute the number may be used again, but the parent's open file must be released in any case.
void Replace(ForkGuard::Entry& entry, int substitute) {
  if (substitute >= 0 && dup3(substitute, entry.descriptor, O_CLOEXEC) >= 0) return;
  System().close(std::exchange(entry.descriptor, -1));
}

}  // namespace

int ForkGuard::Start() {
  static const int problem = CallAroundForks(BeforeFork, InParent, InChild);
  return problem;
}

void ForkGuard::Add(Entry& entry) {
  Start();
  const std::lock_guard<std::mutex> guard(mutex);
  Link(entries, entry);
}

void ForkGuard::Remove(Entry& entry) {
  const std::lock_guard<std::mutex> guard(mutex);
  Unlink(entries, entry);
}

int ForkGuard::Close(Entry& entry) {
  const std::lock_guard<std::mutex> guard(mutex);
  Unlink(entries, entry);
  return System().close(std::exchange(entry.descriptor, -1));
}

int ForkGuard::Open(const char* path, int flags, mode_t mode) {
  Start();
  std::unique_ptr<Entry> entry(new (std::nothrow) Entry);
  if (entry == nullptr) {
    errno = ENOMEM;
    return -1;
  }
  const std::lock_guard<std::mutex> guard(mutex);
  entry->descriptor = System().open(path, flags | O_CLOEXEC, mode);
  const int descriptor = entry->descriptor;
  if (descriptor >= 0) Link(numbered, *entry.release());
  return descriptor;
}

int ForkGuard::Close(int descriptor) {
  const std::lock_guard<std::mutex> guard(mutex);
  const std::unique_ptr<Entry> entry(TakeNumbered(descriptor));
  return System().close(descriptor);
}

bool ForkGuard::Add(int descriptor) {
  Start();
  auto* entry = new (std::nothrow) Entry{descriptor, nullptr};
  if (entry == nullptr) return false;
  const std::lock_guard<std::mutex> guard(mutex);
  Link(numbered, *entry);
  return true;
}

bool ForkGuard::Remove(int descriptor) {
  const std::lock_guard<std::mutex> guard(mutex);
  const std::unique_ptr<Entry> entry(TakeNumbered(descriptor));
  return entry != nullptr;
}

void ForkGuard::Link(Entry*& list, Entry& entry) {
  entry.next = std::exchange(list, &entry);
}

bool ForkGuard::Unlink(Entry*& list, const Entry& entry) {
  for (Entry** link = &list; *link != nullptr; link = &(*link)->next) {
    if (*link != &entry) continue;
    *link = entry.next;
    return true;
  }
  return false;
}

ForkGuard::Entry* ForkGuard::TakeNumbered(int descriptor) {
  for (Entry* entry = numbered; entry != nullptr; entry = entry->next) {
    if (entry->descriptor == descriptor && Unlink(numbered, *entry)) return entry;
  }
  return nullptr;
}

void ForkGuard::BeforeFork() {
  mutex.lock();
}

void ForkGuard::InParent() {
  mutex.unlock();
}

void ForkGuard::InChild() {
  const int substitute = System().open("/dev/null", O_RDWR | O_CLOEXEC, 0);
  for (Entry* entry = std::exchange(entries, nullptr); entry != nullptr; entry = entry->next)
    Replace(*entry, substitute);
  while (numbered != nullptr) {
    const std::unique_ptr<Entry> entry(std::exchange(numbered, numbered->next));
    Replace(*entry, substitute);
  }
  if (substitute >= 0) System().close(substitute);
  mutex.unlock();
}

int CallAroundForks(void (*before)(), void (*in_parent)(), void (*in_child)()) {
  return pthread_atfork(before, in_parent, in_child);
}

}  // namespace tvl
