#include "config/store_layout.h"

#include <string>

#include "platform/host_path.h"
#include "store/layout.h"
#include "store/new_store.h"

namespace tvl {
namespace {

// A folder of the configuration, without the separator at its end.
std::string HostFolder(const char* path) {
  std::string folder = HostPath(path).Text();
  while (folder.size() > 1 && (folder.ends_with('/') || folder.ends_with('\\'))) folder.pop_back();
  return folder;
}

}  // namespace

StoreFailure LayoutOf(CConfig& config, TVLStoreLayout& layout) {
  StoreFailure failure =
      DescribeStore(HostPath(config.iniFile).Text(), HostFolder(config.Get(kDocumentRootKey)),
                    HostFolder(config.tmpDir), layout);
  layout.safety = config.safe_on_transfert;
  return failure;
}

}  // namespace tvl
