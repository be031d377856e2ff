#include "platform/windows/native_errors.h"

#include <windows.h>

#include <cerrno>

namespace tvl::native {

int ErrnoOf(unsigned long code) {
  static constexpr struct {
    unsigned long code;
    int error;
  } kErrors[] = {
      {ERROR_FILE_NOT_FOUND, ENOENT},
      {ERROR_PATH_NOT_FOUND, ENOENT},
      {ERROR_INVALID_DRIVE, ENOENT},
      {ERROR_BAD_NETPATH, ENOENT},
      {ERROR_BAD_NET_NAME, ENOENT},
      {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
      {ERROR_ACCESS_DENIED, EACCES},
      {ERROR_DELETE_PENDING, EACCES},
      {ERROR_INVALID_HANDLE, EBADF},
      {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
      {ERROR_OUTOFMEMORY, ENOMEM},
      {ERROR_NO_SYSTEM_RESOURCES, ENOMEM},
      {ERROR_NOT_SAME_DEVICE, EXDEV},
      {ERROR_WRITE_PROTECT, EROFS},
      {ERROR_SHARING_VIOLATION, EBUSY},
      {ERROR_LOCK_VIOLATION, EBUSY},
      {ERROR_USER_MAPPED_FILE, EBUSY},
      {ERROR_HANDLE_DISK_FULL, ENOSPC},
      {ERROR_DISK_FULL, ENOSPC},
      {ERROR_FILE_TOO_LARGE, EFBIG},
      {ERROR_NOT_SUPPORTED, ENOSYS},
      {ERROR_INVALID_FUNCTION, ENOSYS},
      {ERROR_CALL_NOT_IMPLEMENTED, ENOSYS},
      {ERROR_NETNAME_DELETED, ENOTCONN},
      {ERROR_UNEXP_NET_ERR, ENOTCONN},
      {ERROR_FILE_EXISTS, EEXIST},
      {ERROR_ALREADY_EXISTS, EEXIST},
      {ERROR_INVALID_PARAMETER, EINVAL},
      {ERROR_INVALID_NAME, EINVAL},
      {ERROR_BAD_PATHNAME, EINVAL},
      {ERROR_DIR_NOT_EMPTY, ENOTEMPTY},
      {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
      {ERROR_DIRECTORY, ENOTDIR},
      {ERROR_PRIVILEGE_NOT_HELD, EPERM},
      {ERROR_CANT_RESOLVE_FILENAME, ELOOP},
  };
  for (const auto& row : kErrors) {
    if (row.code == code) return row.error;
  }
  return EIO;
}

int LastProblem() {
  return ErrnoOf(GetLastError());
}

}  // namespace tvl::native
