#include "presence/marker.h"

#include <cerrno>

#include "base/file_helpers.h"
#include "platform/files.h"
#include "platform/last_error.h"

namespace tvl {

bool IsMarkerAlive(const char* path) {
  DeleteFileA(path);
  if (FileExists(path) != 0) return true;
  const int problem = LastErrorCode();
  return problem != ENOENT && problem != ENOTDIR;
}

bool IsInstanceAlive(const char* folder, const InstanceName& name) {
  const PathText path = MarkerPath(folder, name);
  return path.Fits() ? IsMarkerAlive(path.Text()) : !name.HasSeparator();
}

}  // namespace tvl
