#include "platform/common/move_file.h"

#include <cerrno>

#include "platform/held_file.h"
#include "platform/last_error.h"

namespace tvl {
namespace {

// A move to make after a try has shown that nobody holds the file.
struct Move {
  const char* from;
  const char* to;
  HANDLE file;
  int problem;
};

// Does not move another file that got the name after the probed one was opened.
void MoveProbed(void* argument) {
  auto* move = static_cast<Move*>(argument);
  move->problem = StillNames(move->from, move->file) ? MoveUnlessTaken(move->from, move->to) : EBUSY;
}

}  // namespace

int MoveUnheld(const char* from, const char* to, HANDLE file) {
  Move move = {from, to, file, 0};
  return WhileUnheld(file, MoveProbed, &move) ? move.problem : LastErrorCode();
}

}  // namespace tvl

BOOL MoveFileA(const char* from, const char* to) {
  const int problem = tvl::MoveAny(from, to);
  if (problem == 0) return 1;
  tvl::NoteError(problem == EEXIST ? to : from, problem);
  return 0;
}
