#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/system_calls.h"
#include "platform/files.h"
#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/open_file.h"
#include "platform/posix/rename.h"

namespace tvl {
namespace {

// A move to make after a try has shown that nobody holds the file.
struct Move {
  const char* from;
  const char* to;
  int descriptor;
  int problem;
};

int MoveUnlessTaken(const char* from, const char* to) {
  return RenameUnlessTaken(AT_FDCWD, HostPath(from).Text(), AT_FDCWD, HostPath(to).Text());
}

// Does not move another file that got the name after the probed one was opened.
void MoveProbed(void* argument) {
  auto* move = static_cast<Move*>(argument);
  move->problem = StillNames(move->from, move->descriptor) ? MoveUnlessTaken(move->from, move->to) : EBUSY;
}

int MoveUnheld(const char* from, const char* to) {
  const OpenFile file(from, O_RDWR);
  if (!file.IsOpen()) return LastErrorCode();
  Move move = {from, to, file.Descriptor(), 0};
  return WhileUnheld(file.Descriptor(), MoveProbed, &move) ? move.problem : LastErrorCode();
}

int MoveAny(const char* from, const char* to) {
  struct stat status = {};
  if (System().lstat(HostPath(from).Text(), &status) != 0) return errno;
  return S_ISREG(status.st_mode) ? MoveUnheld(from, to) : MoveUnlessTaken(from, to);
}

}  // namespace
}  // namespace tvl

BOOL MoveFileA(const char* from, const char* to) {
  const int problem = tvl::MoveAny(from, to);
  if (problem == 0) return 1;
  tvl::NoteError(problem == EEXIST ? to : from, problem);
  return 0;
}
