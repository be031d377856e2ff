#ifndef TVL_STORE_BACKUP_POSIX_ENTRY_STATUS_H
#define TVL_STORE_BACKUP_POSIX_ENTRY_STATUS_H

#include <sys/stat.h>

#include "store/backup/entry_status.h"

namespace tvl {

[[nodiscard]] EntryStatus StatusOf(const struct stat& status);

}  // namespace tvl

#endif
