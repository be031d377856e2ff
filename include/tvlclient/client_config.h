#ifndef TVLCLIENT_CLIENT_CONFIG_H
#define TVLCLIENT_CLIENT_CONFIG_H

#include <tvlclient/export.h>

// Reserved place in the interface: holds nothing, does nothing, and stays for programs that name it.
class TVL_API CTVLCClientConfig {
 public:
  CTVLCClientConfig();
  CTVLCClientConfig(const CTVLCClientConfig& other);
  CTVLCClientConfig& operator=(const CTVLCClientConfig& other);
  virtual ~CTVLCClientConfig();
};

#endif
