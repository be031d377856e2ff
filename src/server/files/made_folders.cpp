#include "server/files/made_folders.h"

#include <algorithm>

namespace tvl::server {
namespace {

bool IsOnTheWay(const std::string& path, const std::string& folder) {
  return folder.starts_with(path) && (folder.size() == path.size() || folder[path.size()] == '/');
}

}  // namespace

void MadeFolders::Use(const std::string& folder, const std::vector<std::string>& made) {
  const std::lock_guard<std::mutex> guard(mutex_);
  for (const std::string& path : made) users_.emplace(path, 0);
  for (auto& [path, users] : users_) {
    if (IsOnTheWay(path, folder)) ++users;
  }
}

void MadeFolders::Keep(const std::string& folder) {
  const std::lock_guard<std::mutex> guard(mutex_);
  std::erase_if(users_, [&folder](const auto& entry) { return IsOnTheWay(entry.first, folder); });
}

std::vector<std::string> MadeFolders::Drop(const std::string& folder) {
  const std::lock_guard<std::mutex> guard(mutex_);
  std::vector<std::string> unneeded;
  for (auto& [path, users] : users_) {
    if (IsOnTheWay(path, folder) && --users == 0) unneeded.push_back(path);
  }
  for (const std::string& path : unneeded) users_.erase(path);
  std::reverse(unneeded.begin(), unneeded.end());
  return unneeded;
}

}  // namespace tvl::server
