#ifndef TVL_TESTS_PRESENCE_CLIENTS_H
#define TVL_TESTS_PRESENCE_CLIENTS_H

#include <array>

#include "base/low_file.h"
#include "presence/connection.h"
#include "support/helper_process.h"
#include "support/store_test.h"

// An instance in this process. It takes its number at once.
struct Me : CConnection {
  explicit Me(const Store& store, const char* client_class = "mgrx", const char* computerName = "pc12",
              const char* address = "127.0.0.1", const char* user_name = "ann")
      : CConnection(store.locks.c_str(), store.procs.c_str(), client_class, computerName, address,
                    user_name) {
    AllocateInstance();
  }
};

// An instance of the class "mgrx" in its own process, which takes its number on request.
class ClientProcess : public HelperProcess {
 public:
  // Runs as another user if `user` is not 0.
  explicit ClientProcess(const string& folder, int user = 0)
      : HelperProcess({"client", folder, std::to_string(user)}) {
    Hear();
  }

  // Takes a number and returns it.
  string Start() { return Ask("start"); }

  // Tries to lock. Returns the state.
  string Lock(const string& object) { return Ask(object); }

 private:
  string Ask(const string& line) {
    Say(line);
    return Hear();
  }
};

// A marker that is held like that of a live instance.
struct HeldMarker : tvl::LowFile {
  explicit HeldMarker(const string& path) : LowFile(path.c_str(), kLowRewrite) { LowLock(Handle(), 1, 0); }
  HeldMarker(const HeldMarker&) = delete;
  HeldMarker& operator=(const HeldMarker&) = delete;
  ~HeldMarker() { LowLock(Handle(), 0, 0); }
};

// The three lock operations.
inline constexpr std::array kOperations = {&CConnection::Lock, &CConnection::Unlock, &CConnection::CheckLock};

#endif
