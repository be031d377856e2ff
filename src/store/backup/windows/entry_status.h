#ifndef TVL_STORE_BACKUP_WINDOWS_ENTRY_STATUS_H
#define TVL_STORE_BACKUP_WINDOWS_ENTRY_STATUS_H

#include "platform/windows/native.h"
#include "store/backup/entry_status.h"

namespace tvl {

[[nodiscard]] EntryStatus StatusOf(const native::Status& status);

}  // namespace tvl

#endif
