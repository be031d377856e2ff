#include "cli/transfer/folder_names.h"

#include <dirent.h>

#include <cctype>
#include <cerrno>
#include <memory>

namespace tvl::cli {
namespace {

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

std::string Lower(std::string name) {
  for (char& letter : name) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  return name;
}

bool IsAscii(const std::string& name) {
  for (const char letter : name) {
    if (static_cast<unsigned char>(letter) > 0x7F) return false;
  }
  return true;
}

}  // namespace

FolderNames::FolderNames(const std::string& folder) {
  const std::unique_ptr<DIR, CloseFolder> open(opendir(folder.c_str()));
  known_ = open != nullptr || errno == ENOENT;
  if (open == nullptr) return;
  errno = 0;
  while (const dirent* entry = readdir(open.get())) names_.insert(Lower(entry->d_name));
  known_ = errno == 0;
}

bool FolderNames::Lack(const std::string& name) const {
  return known_ && IsAscii(name) && !names_.contains(Lower(name));
}

}  // namespace tvl::cli
