#ifndef TVLCLIENT_CLIENT_CONFIG_H
#define TVLCLIENT_CLIENT_CONFIG_H

#include <tvlclient/export.h>

// Reserved. This class has no contents and no function; it exists for programs that mention it.
class TVL_API CTVLCClientConfig {
 public:
  CTVLCClientConfig();
  CTVLCClientConfig(const CTVLCClientConfig& other);
  CTVLCClientConfig& operator=(const CTVLCClientConfig& other);
  virtual ~CTVLCClientConfig();
};

#endif
