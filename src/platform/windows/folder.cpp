#include "platform/folder.h"

#include <cerrno>
#include <new>
#include <string>

#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/folder_path.h"
#include "platform/windows/native.h"

namespace tvl {
namespace {

// Returns 0, or why the path is not that of a folder.
int Check(const char* host) {
  native::Status status = {};
  if (const int problem = native::StatusOf(host, true, &status)) return problem;
  return status.is_folder ? 0 : ENOTDIR;
}

}  // namespace

// The handle is the path: the system has no calls for a name in an open folder.
Folder::Folder(const char* path) : folder_(INVALID_HANDLE_VALUE) {
  const HostPath host(path);
  problem_ = Check(host.Text());
  auto* text = problem_ == 0 ? new (std::nothrow) FolderPath{host.Text()} : nullptr;
  if (problem_ == 0 && text == nullptr) problem_ = ENOMEM;
  if (text != nullptr) folder_ = reinterpret_cast<HANDLE>(text);
  if (problem_ != 0) NoteError(path, problem_);
}

Folder::~Folder() {
  if (IsOpen()) delete FolderPathOf(folder_);
}

EntryStatus Folder::StatusOf(const char* name) const {
  native::Status status = {};
  if (!IsOpen()) return {};
  const std::string path = FolderPathOf(folder_)->text + "\\" + name;
  if (const int problem = native::StatusOf(path.c_str(), true, &status))
    return {problem == ENOENT ? EntryKind::kMissing : EntryKind::kUnknown, 0, 0};
  return {status.is_folder ? EntryKind::kFolder : EntryKind::kFile, status.size, status.written.seconds};
}

// A listing has the status of each name, but the system does not keep it.
void Folder::LookAhead() const {}

}  // namespace tvl
