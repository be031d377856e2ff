#include <tvlclient/tcp_opr.h>

#include "transfer/compare.h"

// The socket behind a connection is not there yet: no server can be reached, so no connection ever opens, and
// the operations answer as on one that is not open.

CTVLClientTcpOpr::CTVLClientTcpOpr() = default;

CTVLClientTcpOpr::~CTVLClientTcpOpr() = default;

int CTVLClientTcpOpr::Open(char* /*workingDirectory*/, char* /*configFile*/, char* /*host*/,
                           unsigned int /*port*/, char* /*className*/, char* /*clientTag*/) {
  instanceId = 0;
  zipOnTransfert = 0;
  shortName[0] = 0;
  longName[0] = 0;
  fileCmp = kCompareHash;
  return TVL_ERR_TCP_CONNECT;
}

int CTVLClientTcpOpr::Close() {
  return TVL_ERR_NOT_CONNECTED;
}

int CTVLClientTcpOpr::Lock(char* /*object*/, int* /*state*/, char* /*computer*/, int* /*instance*/,
                           int* /*pid*/, char* /*ipAddress*/, char* /*user*/) {
  return TVL_ERR_NOT_CONNECTED;
}

int CTVLClientTcpOpr::Unlock(char* /*object*/, int* /*state*/, char* /*computer*/, int* /*instance*/,
                             int* /*pid*/, char* /*ipAddress*/, char* /*user*/) {
  return TVL_ERR_NOT_CONNECTED;
}

int CTVLClientTcpOpr::GetRemote(char* /*remoteName*/, char* /*localName*/, int* /*transferred*/) {
  return TVL_ERR_TCP_SEND;
}

int CTVLClientTcpOpr::PutRemote(char* /*remoteName*/, char* /*localName*/, int* /*transferred*/) {
  return TVL_ERR_TCP_SEND;
}
