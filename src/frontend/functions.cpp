#include <cstring>
#include <new>

#include <tvlclient/functions.h>
#include <tvlclient/smb_opr.h>
#include <tvlclient/tcp_opr.h>

#include "frontend/module.h"

namespace {

// Opens a connection and makes it the current one. Destroys it on failure.
template <typename Connection, typename... Arguments>
int Connect(Arguments... arguments) try {
  if (currentConnection != nullptr) return TVL_ERR_ALREADY_CONNECTED;
  currentConnection = new Connection;
  const int code = currentConnection->Open(arguments...);
  if (code != TVL_OK) tvl::DestroyCurrentConnection();
  return code;
} catch (const std::bad_alloc&) {
  tvl::DestroyCurrentConnection();
  return TVL_ERR_NOT_CONNECTED;
}

void Clear(int* number) {
  if (number != nullptr) *number = 0;
}

void Clear(char* text) {
  if (text != nullptr) *text = 0;
}

template <typename... Outputs>
void ClearAll(Outputs... outputs) {
  (Clear(outputs), ...);
}

char* LocalName(char* remoteName, char* localName) {
  return localName == nullptr || *localName == 0 ? remoteName : localName;
}

void CopyWhole(const char* text, char* output) {
  if (output != nullptr) std::memcpy(output, text, std::strlen(text) + 1);
}

}  // namespace

int TVLConnect2Dir(char* workingDirectory, char* configFile, char* className) {
  return Connect<CTVLClientSmbOpr>(workingDirectory, configFile, className);
}

int TVLConnect2Tcp(char* workingDirectory, char* configFile, char* host, unsigned int port, char* className,
                   char* clientTag) {
  return Connect<CTVLClientTcpOpr>(workingDirectory, configFile, host, port, className, clientTag);
}

int TVLCloseConnection() {
  if (currentConnection == nullptr) return TVL_ERR_NOT_CONNECTED;
  currentConnection->Close();
  tvl::DestroyCurrentConnection();
  return TVL_OK;
}

int TVLConnectionInfos(char* shortName, char* longName, int* instanceId) {
  if (currentConnection == nullptr) return TVL_ERR_NOT_CONNECTED;
  CopyWhole(currentConnection->ShortName(), shortName);
  CopyWhole(currentConnection->LongName(), longName);
  if (instanceId != nullptr) *instanceId = currentConnection->InstanceId();
  return TVL_OK;
}

int TVLLockObject(char* object, int* state, char* computer, int* instance, int* pid, char* ipAddress,
                  char* user) {
  ClearAll(state, computer, instance, pid, ipAddress, user);
  if (currentConnection == nullptr) return TVL_ERR_NOT_CONNECTED;
  return currentConnection->Lock(object, state, computer, instance, pid, ipAddress, user);
}

int TVLUnlockObject(char* object, int* state, char* computer, int* instance, int* pid, char* ipAddress,
                    char* user) {
  ClearAll(state, computer, instance, pid, ipAddress, user);
  if (currentConnection == nullptr) return TVL_ERR_NOT_CONNECTED;
  return currentConnection->Unlock(object, state, computer, instance, pid, ipAddress, user);
}

int TVLGetFile(char* remoteName, char* localName, int* transferred) {
  if (currentConnection == nullptr) return TVL_ERR_NOT_CONNECTED;
  return currentConnection->GetRemote(remoteName, LocalName(remoteName, localName), transferred);
}

int TVLPutFile(char* remoteName, char* localName, int* transferred) {
  if (currentConnection == nullptr) return TVL_ERR_NOT_CONNECTED;
  return currentConnection->PutRemote(remoteName, LocalName(remoteName, localName), transferred);
}
