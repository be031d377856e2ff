#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "directory/state.h"
#include "store/marker_info.h"

namespace {

void CopyNumber(int number, int* output) {
  if (output != nullptr) *output = number;
}

void CopyText(const char* text, char* output) {
  if (output != nullptr) std::memcpy(output, text, std::strlen(text) + 1);
}

// Copies the owner that a lock operation found or wrote. The fields have the size of the buffers that the
// interface requires.
void DescribeOwner(const CConnection& connection, int* state, char* computer, int* instance, int* pid,
                   char* ipAddress, char* user) {
  CopyNumber(connection.lockState, state);
  CopyText(connection.ownerComputer, computer);
  CopyNumber(connection.ownerInstance, instance);
  CopyNumber(connection.ownerPid, pid);
  CopyText(connection.ownerIp, ipAddress);
  CopyText(connection.ownerUser, user);
}

}  // namespace

int CTVLClientSmbOpr::Lock(char* object, int* lockState, char* computer, int* instance, int* pid,
                           char* ipAddress, char* user_name) try {
  if (opened == 0 || !state->IsAlive()) return TVL_ERR_NOT_CONNECTED;
  state->connection->Lock(object);
  DescribeOwner(*state->connection, lockState, computer, instance, pid, ipAddress, user_name);
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_ERR_NOT_CONNECTED;
}

int CTVLClientSmbOpr::Unlock(char* object, int* lockState, char* computer, int* instance, int* pid,
                             char* ipAddress, char* user_name) try {
  if (opened == 0 || !state->IsAlive()) return TVL_ERR_NOT_CONNECTED;
  state->connection->Unlock(object);
  DescribeOwner(*state->connection, lockState, computer, instance, pid, ipAddress, user_name);
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_ERR_NOT_CONNECTED;
}

int CTVLClientSmbOpr::IsPresent() {
  return opened != 0 && state->IsAlive() && state->connection->IsPresent() ? 1 : 0;
}

int CTVLClientSmbOpr::HoldsLock(const char* object) try {
  return opened != 0 && state->IsAlive() && state->connection->HoldsLock(object) ? 1 : 0;
} catch (const std::bad_alloc&) {
  return 0;
}

int CTVLClientSmbOpr::GetProcessesList(char* className, int& count, CString& list) try {
  count = 0;
  list.Empty();
  if (opened == 0 || !state->IsAlive()) return TVL_ERR_NOT_CONNECTED;
  return state->connection->GetProcessesList(className, count, list);
} catch (const std::bad_alloc&) {
  return TVL_ERR_NOT_CONNECTED;
}

int CTVLClientSmbOpr::ListInstances(const char* className, TVLInstanceCallback callback, void* userData) try {
  if (!state->MayLook()) return TVL_ERR_NOT_CONNECTED;
  const std::unique_ptr<CConnection> reader = state->NewReader();
  const std::vector<std::string> markers =
      reader != nullptr ? reader->HeldMarkers(className) : state->connection->LiveMarkers(className);
  for (const std::string& name : markers) {
    const tvl::MarkerInfo marker(name);
    callback(&marker.Instance(), userData);
  }
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_ERR_SERVER_FILE;
}

int CTVLClientSmbOpr::ListLocks(StandingLockCallback callback, void* userData) try {
  if (!state->MayLook()) return TVL_ERR_NOT_CONNECTED;
  const std::unique_ptr<CConnection> reader = state->NewReader();
  std::vector<tvl::LockRow> rows;
  if (!(reader != nullptr ? reader : state->connection)->ListLocks(rows)) return TVL_ERR_SERVER_FILE;
  for (const tvl::LockRow& row : rows) {
    const TVLStandingLock lock = {row.object,   row.computer, row.ip,   row.client_class,
                                  row.instance, row.pid,      row.user, row.alive ? 1 : 0};
    callback(&lock, userData);
  }
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_ERR_SERVER_FILE;
}
