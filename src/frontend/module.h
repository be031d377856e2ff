#ifndef TVL_FRONTEND_MODULE_H
#define TVL_FRONTEND_MODULE_H

#include <tvlclient/client_opr.h>

// The current connection of the process: null when there is none, owned by the library. A plain variable,
// since a process uses the free functions from one thread at a time. Destroyed, and so closed, at the latest
// when the library is unloaded or the process exits.
extern CTVLClientOpr* currentConnection;

namespace tvl {

// Closes nothing by itself: destroys the current connection, whose destructor does.
void DestroyCurrentConnection();

}  // namespace tvl

#endif
