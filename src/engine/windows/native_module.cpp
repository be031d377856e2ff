#include <windows.h>

#include "engine/system.h"

namespace tvl::engine {
namespace {

// As on other systems, the module stays loaded: its handle numbers are never reused, and threads call it when
// they end.
bool StayLoaded() {
  static const char anchor = 0;
  HMODULE module = nullptr;
  return GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, &anchor,
                            &module) != 0;
}

struct Owner {
  void* object = nullptr;
  void (*free)(void* object) = nullptr;
};

void WINAPI FreeOwned(void* owner) {
  auto* const owned = static_cast<Owner*>(owner);
  owned->free(owned->object);
  delete owned;
}

}  // namespace

// The system has no forks.
bool CallAroundEachFork(void (* /*before*/)(), void (* /*in_parent*/)(), void (* /*in_child*/)()) {
  return StayLoaded();
}

void FreeAtThreadEnd(void* object, void (*free)(void* object)) {
  static const DWORD slot = StayLoaded() ? FlsAlloc(FreeOwned) : FLS_OUT_OF_INDEXES;
  if (slot != FLS_OUT_OF_INDEXES) FlsSetValue(slot, new Owner{object, free});
}

}  // namespace tvl::engine
