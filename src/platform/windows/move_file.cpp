#include "platform/common/move_file.h"

#include <cerrno>

#include "platform/host_path.h"
#include "platform/windows/open_file.h"

int tvl::MoveUnlessTaken(const char* from, const char* to) {
  return native::Rename(HostPath(from).Text(), HostPath(to).Text(), false);
}

int tvl::MoveAny(const char* from, const char* to) {
  native::Status status = {};
  if (const int problem = native::StatusOf(HostPath(from).Text(), false, &status)) return problem;
  if (NameExists(to)) return EEXIST;
  if (status.is_link || status.is_folder) return MoveUnlessTaken(from, to);
  const OpenFile file(from, {.writes = true});
  return file.IsOpen() ? MoveUnheld(from, to, file.Get()) : file.Problem();
}
