// Appends a line to a file of the store under a lock, so that no program overwrites the line of another.
//
// Usage: locked_edit CONFIG WORK NAME LINE

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

#include <tvlclient/tvlclient.h>

namespace {

constexpr auto kPatience = std::chrono::seconds(30);
constexpr auto kPause = std::chrono::milliseconds(50);

int Complain(const std::string& what, int code) {
  std::fprintf(stderr, "%s: %s\n", what.c_str(), TVLFormatError(code).GetString());
  return 1;
}

// Holds the lock on an object until it is destroyed.
class LockGuard {
 public:
  LockGuard(CTVLClientSmbOpr& store, std::string object) : store_(store), object_(std::move(object)) {}
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;
  ~LockGuard() {
    int state = 0;
    store_.Unlock(object_.data(), &state, nullptr, nullptr, nullptr, nullptr, nullptr);
  }

  // Waits for other owners. Returns false if the lock is still held at the end, or the lock table is
  // unusable.
  bool Take() {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
      int state = TVL_LOCK_FREE;
      store_.Lock(object_.data(), &state, nullptr, nullptr, nullptr, nullptr, nullptr);
      // A lock counts only if other clients see this connection as its owner.
      if (state == TVL_LOCK_OWN) return IsHeld();
      if (state == TVL_LOCK_FREE || std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(kPause);
    }
  }

  [[nodiscard]] bool IsHeld() const { return store_.HoldsLock(object_.c_str()) != 0; }

 private:
  CTVLClientSmbOpr& store_;
  std::string object_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: %s CONFIG WORK NAME LINE\n", argv[0]);
    return 2;
  }
  char client[] = "edit";
  char* name = argv[3];
  CTVLClientSmbOpr store;
  if (const int code = store.Open(argv[2], argv[1], client)) return Complain(argv[1], code);

  LockGuard lock(store, name);  // any name of at most 32 bytes on which the programs agree
  if (!lock.Take()) {
    std::fprintf(stderr, "%s: the lock is not available\n", name);
    return 1;
  }
  int transferred = 0;
  if (store.ExistsRemote(name) == TVL_OK) {
    if (const int code = store.GetRemote(name, name, &transferred)) return Complain(name, code);
  }
  const std::string local = std::string(argv[2]) + "/" + name;
  std::ofstream(local, std::ios::app) << argv[4] << '\n';

  // After a long edit, make sure that the lock was not lost meanwhile, for example because the share was
  // gone.
  if (!lock.IsHeld()) {
    std::fprintf(stderr, "%s: the lock was lost, so nothing was stored\n", name);
    return 1;
  }
  transferred = 0;
  if (const int code = store.PutRemote(name, name, &transferred)) return Complain(name, code);
  return 0;
}
