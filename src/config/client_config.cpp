#include <tvlclient/client_config.h>

CTVLCClientConfig::CTVLCClientConfig() = default;
CTVLCClientConfig::CTVLCClientConfig(const CTVLCClientConfig& /*other*/) {}
CTVLCClientConfig& CTVLCClientConfig::operator=(const CTVLCClientConfig& /*other*/) {
  return *this;
}  // NOLINT
CTVLCClientConfig::~CTVLCClientConfig() = default;
