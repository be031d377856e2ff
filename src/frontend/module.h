#ifndef TVL_FRONTEND_MODULE_H
#define TVL_FRONTEND_MODULE_H

#include <tvlclient/client_opr.h>

// The current connection of the process, owned by the library; null if there is none. It is a plain variable,
// because a process uses the free functions from one thread at a time. It is destroyed, and so closed, at the
// latest when the library is unloaded or the process exits.
extern CTVLClientOpr* currentConnection;

namespace tvl {

// Destroys the current connection. Its destructor closes it.
void DestroyCurrentConnection();

}  // namespace tvl

#endif
