#include "frontend/module.h"

#include <utility>

CTVLClientOpr* currentConnection = nullptr;

void tvl::DestroyCurrentConnection() {
  delete std::exchange(currentConnection, nullptr);
}

namespace {

// What is left at the end is closed in order. Made when the library is loaded, so it goes before all that was
// there before it.
struct Unload {
  ~Unload() { tvl::DestroyCurrentConnection(); }
};

const Unload unload;

}  // namespace
