#include "platform/new_held_file.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <string>
#include <utility>

#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/open_file.h"

namespace tvl {
namespace {

constexpr int kMostTries = 100;

// Returns a name next to `path` that searches for markers do not find and that is not longer than that of a
// marker.
std::string TemporaryName(const std::string& path) {
  static std::atomic<unsigned int> count = native::Random();
  char name[32];
  std::snprintf(name, sizeof name, ".%x.%x.new", static_cast<unsigned int>(native::ProcessId()), count++);
  return path.substr(0, path.find_last_of('\\') + 1) + name;
}

// Creates the file under a temporary name, holds it and renames it. Returns 0, EAGAIN if another process has
// taken the temporary name or deleted the file, or another errno value.
int CreateOnce(const std::string& path, HANDLE& created) {
  const std::string name = TemporaryName(path);
  OpenFile file(name.c_str(), {.writes = true, .creation = native::Creation::kOnlyNew});
  if (!file.IsOpen()) return file.Problem() == EEXIST ? EAGAIN : file.Problem();
  int problem = HoldFile(file.Get()) ? 0 : LastErrorCode();
  if (problem == EBUSY) problem = EAGAIN;  // a trier stopped while it had the file
  if (problem == 0) problem = native::Rename(name.c_str(), path.c_str(), false);
  if (problem == 0) {
    created = file.Release();
    return 0;
  }
  ReleaseFile(file.Get());
  static_cast<void>(file.Close());
  native::Delete(name.c_str());
  return problem == ENOENT ? EAGAIN : problem;
}

}  // namespace

HANDLE CreateHeldFile(const char* path) {
  const std::string host = HostPath(path).Text();
  HANDLE file = INVALID_HANDLE_VALUE;
  int problem = EAGAIN;
  for (int tries = 0; problem == EAGAIN && tries < kMostTries; ++tries) problem = CreateOnce(host, file);
  if (problem != 0) NoteError(path, problem);
  return file;
}

bool IsStillHeld(const char* path, HANDLE file) {
  char byte = 0;
  std::size_t read = 0;
  return StillNames(path, file) && native::Read(file, &byte, sizeof byte, &read) == 0;
}

}  // namespace tvl
