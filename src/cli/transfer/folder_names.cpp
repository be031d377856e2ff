#include "cli/transfer/folder_names.h"

#include <cctype>
#include <cerrno>
#include <vector>

#include "cli/file_status.h"

namespace tvl::cli {
namespace {

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
  std::vector<std::string> names;
  const int problem = ListNames(folder, names);
  known_ = problem == 0 || problem == ENOENT;
  for (const std::string& name : names) names_.insert(Lower(name));
}

bool FolderNames::Lack(const std::string& name) const {
  return known_ && IsAscii(name) && !names_.contains(Lower(name));
}

}  // namespace tvl::cli
