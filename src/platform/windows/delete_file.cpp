#include "platform/windows/delete_file.h"

#include "platform/files.h"
#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/open_file.h"

namespace tvl {
namespace {

struct Deletion {
  native::Handle file;
  int problem;
};

// Deletes the open file, so no other file that got its name meanwhile.
void DeleteProbed(void* argument) {
  auto* deletion = static_cast<Deletion*>(argument);
  deletion->problem = native::DeleteOpen(deletion->file);
}

}  // namespace

// The try needs the right to write, as on other systems: a file that cannot be tried is not deleted.
int DeleteUnheld(const char* path, std::uint64_t* size) {
  const OpenFile file(path, {.writes = true, .deletes = true, .opens_links = true});
  if (!file.IsOpen()) return file.Problem();
  if (file.Status().is_link) return native::DeleteOpen(file.Get());
  if (size != nullptr) *size = file.Status().size;
  Deletion deletion = {file.Get(), 0};
  return WhileUnheld(file.Get(), DeleteProbed, &deletion) ? deletion.problem : LastErrorCode();
}

}  // namespace tvl

BOOL DeleteFileA(const char* path) {
  const int problem = tvl::DeleteUnheld(path, nullptr);
  if (problem == 0) return 1;
  tvl::NoteError(path, problem);
  return 0;
}
