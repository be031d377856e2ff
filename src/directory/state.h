#ifndef TVL_DIRECTORY_STATE_H
#define TVL_DIRECTORY_STATE_H

#include <tvlclient/smb_opr.h>

#include "config/config.h"

// What a directory connection holds beyond the base class.
struct CTVLClientSmbOpr::State {
  CConfig config;
  char serverRoot[tvl::kMaxPath] = {};  // full path of the document root, with a trailing backslash
};

#endif
