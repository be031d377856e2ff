#include "platform/file_times.h"

#include "platform/last_error.h"
#include "platform/windows/open_file.h"

bool tvl::SetFileTimes(const char* path, std::int64_t seconds) {
  const OpenFile file(path, {.reads = false, .sets_times = true, .opens_folders = true});
  const native::Time time = {seconds, 0};
  const int problem = file.IsOpen() ? native::SetTimes(file.Get(), &time, &time) : file.Problem();
  if (problem != 0) NoteError(path, problem);
  return problem == 0;
}
