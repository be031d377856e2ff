#include "platform/shared_folder.h"

#include <cerrno>

#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/open_file.h"

// What is created inherits the access list of its folder.

namespace tvl {
namespace {

int CreateWith(const char* host, std::string_view contents) {
  OpenFile file(host, {.writes = true, .creation = native::Creation::kOnlyNew});
  if (!file.IsOpen()) return file.Problem();
  int problem = WriteAll(file.Get(), contents.data(), contents.size());
  if (problem == 0) problem = native::Flush(file.Get());
  if (problem == 0) problem = file.Close();
  if (problem == 0) return 0;
  if (file.IsOpen()) static_cast<void>(file.Close());
  native::Delete(host);
  return problem;
}

}  // namespace

bool CreateSharedFolder(const char* path) {
  const int problem = native::CreateFolder(HostPath(path).Text());
  if (problem != 0 && problem != EEXIST) NoteError(path, problem);
  return problem == 0;
}

// Who may do what is decided by access lists, which an administrator sets.
bool ShareWithGroup(const char* path, int /*group*/) {
  NoteError(path, ENOSYS);
  return false;
}

bool CreateSharedFile(const char* path, std::string_view contents) {
  const int problem = CreateWith(HostPath(path).Text(), contents);
  if (problem != 0) NoteError(path, problem);
  return problem == 0;
}

}  // namespace tvl
