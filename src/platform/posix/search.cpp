#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "host/file_identity.h"
#include "host/folder_reader.h"
#include "host/system_calls.h"
#include "platform/common/search_steps.h"
#include "platform/posix/descriptor_of.h"

namespace tvl {
namespace {

class PosixSearch : public Search {
 public:
  explicit PosixSearch(SearchAim aim)
      : Search(std::move(aim)), own_(std::make_unique<Folder>(Path().c_str())) {
    reader_ = ReaderOf(*own_);
  }
  PosixSearch(const Folder& folder, SearchAim aim) : Search(std::move(aim)), reader_(ReaderOf(folder)) {}

  [[nodiscard]] int Problem() const override { return reader_.Problem(); }

 private:
  static FolderReader ReaderOf(const Folder& folder) {
    return FolderReader(DescriptorOf(folder.ListingHandle()), folder.Problem());
  }

  const char* NextName() override {
    entry_ = reader_.Next();
    return entry_ != nullptr ? entry_->d_name : nullptr;
  }

  void Describe(WIN32_FIND_DATAA& found) const override {
    FindAttributes(*entry_, found);
    if (std::strchr(entry_->d_name, '\\') != nullptr) found.unreachable = Unreachable::kBackslash;
  }

  // Most file systems report the kind of an entry together with its name.
  void FindAttributes(const dirent64& entry, WIN32_FIND_DATAA& found) const {
    DWORD& attributes = found.dwFileAttributes;
    attributes = entry.d_type == DT_DIR ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return;
    const int folder = reader_.Descriptor();
    struct stat status = {};
    if (System().fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return;
    const bool is_link = S_ISLNK(status.st_mode);
    attributes = is_link ? FILE_ATTRIBUTE_REPARSE_POINT : 0;
    if (is_link && System().fstatat(folder, entry.d_name, &status, 0) != 0) return;
    attributes |= S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    if (is_link && S_ISDIR(status.st_mode) && LeadsBack(IdentityOf(status)))
      found.unreachable = Unreachable::kLeadsBack;
  }

  // Returns true for a folder that is the searched folder or one of its parents, either in the file system or
  // on the path that led here, which may itself contain links.
  bool LeadsBack(const FileIdentity& folder) const try {
    return IsAtOrAbove(folder, reader_.Descriptor()) || IsOnTheWay(folder);
  } catch (const std::bad_alloc&) {
    return true;  // a walk must end
  }

  static bool IsAtOrAbove(const FileIdentity& wanted, int folder) {
    std::string way = ".";
    FileIdentity below;
    for (;;) {
      struct stat status = {};
      if (System().fstatat(folder, way.c_str(), &status, 0) != 0) return false;
      const FileIdentity here = IdentityOf(status);
      if (here == wanted) return true;
      if (here == below) return false;  // `..` of the root is the root
      below = here;
      way += "/..";
    }
  }

  bool IsOnTheWay(const FileIdentity& wanted) const {
    std::string way = HostPath(Path().c_str()).Text();
    for (std::size_t end = way.rfind('/'); end != std::string::npos; end = way.rfind('/')) {
      way.resize(end);
      if (!way.empty() && IdentityOf(way.c_str()) == wanted) return true;
    }
    return false;
  }

  std::unique_ptr<Folder> own_;  // null if the folder belongs to the caller
  FolderReader reader_{-1};
  const dirent64* entry_ = nullptr;
};

}  // namespace

std::unique_ptr<Search> NewSearch(SearchAim aim) {
  return std::make_unique<PosixSearch>(std::move(aim));
}

std::unique_ptr<Search> NewSearchIn(const Folder& folder, SearchAim aim) {
  return std::make_unique<PosixSearch>(folder, std::move(aim));
}

}  // namespace tvl
