#include "platform/windows/open_file.h"

#include "platform/host_path.h"
#include "platform/last_error.h"

namespace tvl {

OpenFile::OpenFile(const char* path, const native::Opening& opening)
    : problem_(native::Open(HostPath(path).Text(), opening, &file_)) {
  if (problem_ == 0) problem_ = native::StatusOf(file_, &status_);
  if (problem_ == 0) return;
  if (IsOpen()) native::Close(Release());
  NoteError(path, problem_);
}

int WriteAll(native::Handle file, const void* bytes, std::size_t count) {
  const auto* text = static_cast<const char*>(bytes);
  for (std::size_t done = 0; count > 0; count -= done, text += done) {
    if (const int problem = native::Write(file, text, count, &done)) return problem;
  }
  return 0;
}

int ReadAll(native::Handle file, void* buffer, std::size_t count, std::size_t* done) {
  auto* text = static_cast<char*>(buffer);
  *done = 0;
  for (std::size_t read = 1; read > 0 && *done < count; *done += read) {
    if (const int problem = native::Read(file, text + *done, count - *done, &read)) return problem;
  }
  return 0;
}

}  // namespace tvl
