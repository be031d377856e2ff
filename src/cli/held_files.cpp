#include "cli/held_files.h"

namespace tvl::cli {
namespace {

const char* NameOf(TVL_FILE_KIND kind) {
  if (kind == TVL_FILE_MARKER) return "marker of a live instance";
  return kind == TVL_FILE_TABLE ? "a table in use" : "a file in use";
}

}  // namespace

std::vector<HeldFile> HeldFilesAt(const std::string& path) {
  std::vector<HeldFile> held;
  TVLListHeldFiles(
      path.c_str(),
      [](const TVLHeldFile* file, void* list) {
        static_cast<std::vector<HeldFile>*>(list)->push_back({file->path, file->kind});
      },
      &held);
  return held;
}

std::string DescribeHeldFiles(const std::vector<HeldFile>& files) {
  if (files.empty()) return {};
  std::string text = files.front().path + ", " + NameOf(files.front().kind);
  if (files.size() > 1) text += ", and " + std::to_string(files.size() - 1) + " more";
  return text;
}

}  // namespace tvl::cli
