#include <algorithm>
#include <cstring>

#include <tvlclient/tvl.h>

#include "base/pump.h"
#include "platform/last_error.h"
#include "transfer/compare.h"

char* GetFileSignature(char* path) {
  return FileStamp(kCompareHash, path);
}

void TVLSetPumpHook(TVLPumpHook hook, void* userData) {
  tvl::SetPumpHook(hook, userData);
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
