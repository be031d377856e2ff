#include <cerrno>

#include "platform/files.h"
#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/open_file.h"

namespace tvl {
namespace {

// A move to make after a try has shown that nobody holds the file.
struct Move {
  const char* from;
  const char* to;
  native::Handle file;
  int problem;
};

int Rename(const char* from, const char* to) {
  return native::Rename(HostPath(from).Text(), HostPath(to).Text(), false);
}

// Does not move another file that got the name after the probed one was opened.
void MoveProbed(void* argument) {
  auto* move = static_cast<Move*>(argument);
  move->problem = StillNames(move->from, move->file) ? Rename(move->from, move->to) : EBUSY;
}

int MoveAny(const char* from, const char* to) {
  native::Status status = {};
  if (const int problem = native::StatusOf(HostPath(from).Text(), false, &status)) return problem;
  if (NameExists(to)) return EEXIST;
  if (status.is_link || status.is_folder) return Rename(from, to);
  const OpenFile file(from, {.writes = true});
  if (!file.IsOpen()) return file.Problem();
  Move move = {from, to, file.Get(), 0};
  return WhileUnheld(file.Get(), MoveProbed, &move) ? move.problem : LastErrorCode();
}

}  // namespace
}  // namespace tvl

BOOL MoveFileA(const char* from, const char* to) {
  const int problem = tvl::MoveAny(from, to);
  if (problem == 0) return 1;
  tvl::NoteError(problem == EEXIST ? to : from, problem);
  return 0;
}
