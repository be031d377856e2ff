#include "frontend/module.h"

#include <utility>

CTVLClientOpr* currentConnection = nullptr;

void tvl::DestroyCurrentConnection() {
  delete std::exchange(currentConnection, nullptr);
}

namespace {

// Closes an open connection at the end. It is constructed when the library is loaded, so it is destroyed
// before everything that existed earlier.
struct Unload {
  ~Unload() { tvl::DestroyCurrentConnection(); }
};

const Unload unload;

}  // namespace
