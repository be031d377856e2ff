#include <algorithm>
#include <cstring>

#include <tvlclient/smb_opr.h>
#include <tvlclient/tcp_opr.h>
#include <tvlclient/tvl.h>

#include "base/pump.h"
#include "base/stop.h"
#include "frontend/module.h"
#include "platform/last_error.h"
#include "table/engine_binding.h"
#include "tcp/safe_transfers.h"
#include "tcp/socket.h"
#include "tcp/window.h"
#include "transfer/compare.h"

char* GetFileSignature(char* path) {
  return FileStamp(kCompareHash, path);
}

namespace {

// Calls `ask` with the current connection, as a directory connection or one to a server. Returns 0 if there
// is no connection.
template <typename Question>
int AskCurrentConnection(Question ask) {
  if (auto* directory = dynamic_cast<CTVLClientSmbOpr*>(currentConnection)) return ask(*directory);
  if (auto* server = dynamic_cast<CTVLClientTcpOpr*>(currentConnection)) return ask(*server);
  return 0;
}

}  // namespace

int TVLIsPresent() {
  return AskCurrentConnection([](auto& connection) { return connection.IsPresent(); });
}

int TVLHoldsLock(const char* object) {
  return AskCurrentConnection([=](auto& connection) { return connection.HoldsLock(object); });
}

int TVLLibraryVersion(void) {
  return TVLCLIENT_VERSION;
}

void TVLSetPumpHook(TVLPumpHook hook, void* userData) {
  tvl::SetPumpHook(hook, userData);
}

void TVLSetTimeout(unsigned int seconds) {
  tvl::SetSocketTimeout(seconds);
}

void TVLSetSafeTransfers(int level) {
  tvl::safe_transfers = level;
}

void TVLSetTransferWindow(unsigned int chunks) {
  tvl::transfer_window = chunks;
}

void TVLSetStopHook(TVLStopHook hook, void* userData) {
  tvl::SetStopHook(hook, userData);
}

int TVLLastFileError(char* path, unsigned int pathSize) {
  const tvl::LastError error = tvl::TakeLastError();
  if (path != nullptr && pathSize > 0) {
    const std::size_t length = std::min<std::size_t>(std::strlen(error.path), pathSize - 1);
    std::memcpy(path, error.path, length);
    path[length] = 0;
  }
  return error.code;
}

const char* TVLLastTableFailure() {
  return tvl::engine::LastFailure();
}

const char* TVLEngineVersion() {
  LoadTableEngine();
  return tvl::engine::Version();
}
