#include "cli/own_files.h"

#include "cli/host_path.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

std::string BaseOf(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

bool IsSameFolder(const std::string& one, const std::string& other) {
  Identities folder;
  folder.Add(one);
  const auto status = StatusOf(other);
  return status && folder.Hold(*status);
}

// Compares names only, since the file need not exist.
bool IsBelow(const std::string& path, const std::string& folder) {
  const std::string inside = RealPath(folder);
  const std::string real = RealPath(path);
  return IsPathIn(real, inside);
}

}  // namespace

OwnFiles::OwnFiles(const Store& store) {
  if (!store.IsDirectory()) return;
  const TVLStoreLayout layout = store.Layout();
  configuration_ = store.Configuration();
  configuration_lock_ = layout.configurationLock;
  temporary_folder_ = layout.tmp;
  identities_.Add(configuration_);
  identities_.Add(configuration_lock_);
  identities_.Add(temporary_folder_);
}

bool OwnFiles::IsConfigurationName(const std::string& path) const {
  if (configuration_.empty()) return false;
  const std::string base = BaseOf(path);
  const bool named = EqualsIgnoringCase(base, BaseOf(configuration_)) ||
                     EqualsIgnoringCase(base, BaseOf(configuration_lock_));
  return named && IsSameFolder(FolderOf(configuration_), FolderOf(path));
}

bool OwnFiles::IncludeEntry(const std::string& path, const NameStatus& status) const {
  return (status.leads_to && Hold(*status.leads_to)) || IsConfigurationName(path);
}

bool OwnFiles::Include(const std::string& path) const {
  if (configuration_.empty()) return false;
  return IncludeEntry(path) || LiesIn(path, temporary_folder_) || IsBelow(path, temporary_folder_);
}

bool OwnFiles::AreIn(const std::string& path) const {
  if (configuration_.empty()) return false;
  if (IsLink(path)) return IsConfigurationName(path) || Include(FolderOf(path));
  return Include(path) || LiesIn(configuration_, path) || LiesIn(temporary_folder_, path);
}

}  // namespace tvl::cli
