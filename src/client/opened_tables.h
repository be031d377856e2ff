#ifndef TVL_CLIENT_OPENED_TABLES_H
#define TVL_CLIENT_OPENED_TABLES_H

#include "platform/host_path.h"

// A table that a connection has open.
struct CtOpenedFile {
  char path[tvl::kMaxPath];  // full path, with backslashes only
  int handle;                // the engine's handle, which callers use too
  int refs;                  // opens not yet closed
  int datLen;
  int key1Len;
  int key2Len;
};

#endif
