#include <new>

#include "directory/state.h"
#include "platform/target_file.h"

// Groups of transfers, which are synced together.

int CTVLClientSmbOpr::BeginTransfers() try {
  if (state->group != nullptr) return TVL_ERR_ALREADY_CONNECTED;
  state->group = std::make_unique<tvl::TransferGroup>();
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_ERR_COPY;
}

int CTVLClientSmbOpr::TransfersFull() const {
  return state->group != nullptr && state->group->IsFull() ? 1 : 0;
}

int CTVLClientSmbOpr::EndTransfers(TransferCallback callback, void* userData) try {
  if (state->group == nullptr) return TVL_OK;
  const std::vector<int> results = state->group->End();
  state->group.reset();
  int first_failure = TVL_OK;
  for (std::size_t index = 0; index < results.size(); ++index) {
    if (first_failure == TVL_OK) first_failure = results[index];
    if (callback != nullptr) callback(static_cast<int>(index), results[index], userData);
  }
  return first_failure;
} catch (const std::bad_alloc&) {
  state->group.reset();
  return TVL_ERR_COPY;
}

const char* CTVLClientSmbOpr::WhyInPlace() const {
  return tvl::WhyInPlace();
}
