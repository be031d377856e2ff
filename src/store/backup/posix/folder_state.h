#ifndef TVL_STORE_BACKUP_POSIX_FOLDER_STATE_H
#define TVL_STORE_BACKUP_POSIX_FOLDER_STATE_H

#include "host/descriptor.h"
#include "host/folder_reader.h"
#include "store/backup/open_folder.h"

namespace tvl {

struct OpenFolder::State {
  // `number` is a new descriptor, AT_FDCWD, or -1 with the reason in `reason`.
  State(int number, int reason) : folder(number), reader(number), problem(reason) {}

  Descriptor folder;
  FolderReader reader;
  int problem;
};

}  // namespace tvl

#endif
