#include <memory>
#include <string>
#include <utility>

#include "platform/common/search_steps.h"
#include "platform/host_path.h"
#include "platform/windows/folder_entries.h"

namespace tvl {
namespace {

class WindowsSearch : public Search {
 public:
  // Fails with `problem` if it is not 0.
  explicit WindowsSearch(SearchAim aim, int problem = 0)
      : Search(std::move(aim)), entries_(HostPath(Path().c_str()).Text(), problem) {}

  [[nodiscard]] int Problem() const override { return entries_.Problem(); }

 private:
  const char* NextName() override {
    entry_ = entries_.Next();
    return entry_ != nullptr ? entry_->name : nullptr;
  }

  void Describe(WIN32_FIND_DATAA& found) const override {
    found.dwFileAttributes = AttributesOf(*entry_);
    constexpr DWORD kLinkToFolder = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    if ((found.dwFileAttributes & kLinkToFolder) == kLinkToFolder && LeadsBack(*entry_))
      found.unreachable = Unreachable::kLeadsBack;
  }

  // Other reparse points than links, such as files in a cloud, are what they contain.
  DWORD AttributesOf(const native::Entry& entry) const {
    if ((entry.attributes & native::kLinkAttribute) != 0) {
      const DWORD attributes = GetFileAttributesA((Path() + entry.name).c_str());
      if (attributes != INVALID_FILE_ATTRIBUTES) return attributes;
    }
    return (entry.attributes & native::kFolderAttribute) != 0 ? FILE_ATTRIBUTE_DIRECTORY
                                                              : FILE_ATTRIBUTE_NORMAL;
  }

  // Returns true for a link to the searched folder or one of its parents on the path that led here.
  bool LeadsBack(const native::Entry& entry) const {
    native::Status target = {};
    if (native::StatusOf((Path() + entry.name).c_str(), true, &target) != 0) return false;
    char path[kMaxPath];
    const std::size_t length = native::FullPath(Path().c_str(), path, sizeof path);
    if (length == 0 || length >= sizeof path) return true;  // a walk must end
    std::string way(path, length);
    for (std::size_t end = way.rfind('\\'); end != std::string::npos; end = way.rfind('\\')) {
      native::Status parent = {};
      way.resize(end + 1);
      if (native::StatusOf(way.c_str(), true, &parent) == 0 && parent.IsSameFile(target)) return true;
      way.resize(end);
    }
    return false;
  }

  FolderEntries entries_;
  const native::Entry* entry_ = nullptr;
};

}  // namespace

std::unique_ptr<Search> NewSearch(SearchAim aim) {
  return std::make_unique<WindowsSearch>(std::move(aim));
}

std::unique_ptr<Search> NewSearchIn(const Folder& folder, SearchAim aim) {
  return std::make_unique<WindowsSearch>(std::move(aim), folder.Problem());
}

}  // namespace tvl
