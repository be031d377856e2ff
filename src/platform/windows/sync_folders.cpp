#include "platform/sync_folders.h"

// The file system writes names to its log in order, and has no call to wait for those of a folder.
bool tvl::SyncFoldersBetween(const char* /*base*/, const char* /*path*/) {
  return true;
}
