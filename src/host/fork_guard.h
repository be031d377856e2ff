#ifndef TVL_HOST_FORK_GUARD_H
#define TVL_HOST_FORK_GUARD_H

#include <sys/types.h>

#include <cerrno>
#include <mutex>

namespace tvl {

// Descriptors that a forked child must not share with its parent: an open file's lock, or the end of a
// connection, would otherwise last as long as either process.
//
// In a child each of them is replaced by /dev/null, so its number stays taken: code that still knows the
// number never reaches another file by it. Trivially destructible, because connections are closed while the
// process ends. Any thread may use it.
class ForkGuard {
 public:
  // A guarded descriptor. In a child without /dev/null the number becomes -1.
  struct Entry {
    int descriptor = -1;
    Entry* next = nullptr;
  };

  // Opens a descriptor by `open`, which returns it or -1 with errno, and guards it. No child is forked in
  // between.
  template <typename Open>
  [[nodiscard]] static bool OpenFor(Entry& entry, Open open) {
    if (const int problem = Start()) {
      errno = problem;
      return false;
    }
    const std::lock_guard<std::mutex> guard(mutex);
    entry.descriptor = open();
    if (entry.descriptor >= 0) Link(entries, entry);
    return entry.descriptor >= 0;
  }

  // Guards an open descriptor, without taking memory. The entry must exist until it is removed.
  static void Add(Entry& entry);
  static void Remove(Entry& entry);

  // Ends the guard and closes the descriptor. No child is forked in between.
  static int Close(Entry& entry);

  // The same by number. Open, with close-on-exec, returns -1 and errno; Add returns false if there is no
  // memory, Remove if the number is not guarded.
  [[nodiscard]] static int Open(const char* path, int flags, mode_t mode);
  static int Close(int descriptor);
  [[nodiscard]] static bool Add(int descriptor);
  static bool Remove(int descriptor);

  // Makes children replace what is guarded; all functions that guard something call it. Returns 0 or an errno
  // value. Code that opens or closes guarded descriptors while it has a mutex, and locks that around forks,
  // calls this before it calls CallAroundForks: then both are locked in the same order everywhere.
  static int Start();

 private:
  static void Link(Entry*& list, Entry& entry);
  static bool Unlink(Entry*& list, const Entry& entry);
  static Entry* TakeNumbered(int descriptor);
  static void BeforeFork();
  static void InParent();
  static void InChild();

  static constinit inline std::mutex mutex;
  static constinit inline Entry* entries = nullptr;
  static constinit inline Entry* numbered = nullptr;  // allocated here
};

// pthread_atfork(); any of these may be null. Returns 0 or an errno value.
[[nodiscard]] int CallAroundForks(void (*before)(), void (*in_parent)(), void (*in_child)());

}  // namespace tvl

#endif
