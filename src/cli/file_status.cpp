#include "cli/file_status.h"

#include <cerrno>

#include "cli/host_path.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

std::string Tidied(const std::string& path) {
  std::string text = TextOf(PathOf(path).lexically_normal());
  while (text.size() > 1 && text.back() == '/' && FolderOf(text) != text) text.pop_back();
  return text;
}

}  // namespace

NameStatus LookAtName(const std::string& path) {
  NameStatus status = {LinkStatusOf(path), {}};
  status.leads_to = status.IsLink() ? StatusOf(path) : status.itself;
  return status;
}

bool IsFolder(const std::string& path) {
  const auto status = StatusOf(path);
  return status && status->IsFolder();
}

bool IsLink(const std::string& path) {
  const auto status = LinkStatusOf(path);
  return status && status->IsLink();
}

bool Exists(const std::string& path) {
  return LinkStatusOf(path).has_value();
}

std::string RealPath(const std::string& path) {
  std::string rest;
  for (std::string known = path; !known.empty();) {
    const std::string resolved = ResolvedPath(known);
    if (!resolved.empty()) return Tidied(Joined(resolved, rest));
    if (errno != ENOENT && errno != ENOTDIR) return {};
    const std::size_t slash = known.find_last_of('/');
    if (slash == std::string::npos) return Tidied(Joined(known, rest));
    rest = Joined(known.substr(slash + 1), rest);
    const std::string folder = FolderOf(known);
    known = folder == known ? std::string() : folder;
  }
  return Tidied(rest);
}

}  // namespace tvl::cli
