#ifndef TVL_STORE_FAILURE_H
#define TVL_STORE_FAILURE_H

#include <string>

#include <tvlclient/errors.h>

namespace tvl {

// Result of an operation on a store: TVL_OK, or why it failed.
struct StoreFailure {
  int code = TVL_OK;
  const char* what = "";  // static
  int error = 0;          // an errno value; 0 if there is none
  std::string path;

  explicit operator bool() const { return code != TVL_OK; }
};

}  // namespace tvl

#endif
