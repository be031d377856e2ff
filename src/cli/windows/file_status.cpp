#include "cli/file_status.h"

#include <cerrno>
#include <string_view>

#include "cli/windows/system.h"
#include "platform/windows/native.h"

namespace tvl::cli {
namespace {

FileStatus::Kind KindOf(const native::Status& status) {
  return status.is_link     ? FileStatus::Kind::kLink
         : status.is_folder ? FileStatus::Kind::kFolder
                            : FileStatus::Kind::kFile;
}

std::optional<FileStatus> StatusWith(const std::string& path, bool follows_links) {
  native::Status status = {};
  if (const int problem = native::StatusOf(path.c_str(), follows_links, &status)) {
    errno = problem;
    return std::nullopt;
  }
  return FileStatus{KindOf(status),
                    status.size,
                    status.written.seconds,
                    status.written.nanoseconds,
                    {status.volume, status.number}};
}

class Listing {
 public:
  explicit Listing(const std::string& folder)
      : problem_(native::FirstEntry(folder.c_str(), &listing_, &entry_)), is_open_(problem_ == 0) {}
  ~Listing() {
    if (is_open_) native::EndListing(listing_);
  }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  [[nodiscard]] bool HasEntry() const { return problem_ == 0; }
  [[nodiscard]] std::string_view Name() const { return entry_.name; }
  void Next() { problem_ = native::NextEntry(listing_, &entry_); }

  // Returns 0 if the listing came to its end, else why the folder cannot be read.
  [[nodiscard]] int Problem() const { return is_open_ && problem_ == ENOENT ? 0 : problem_; }

 private:
  native::Handle listing_ = native::kNoHandle;
  native::Entry entry_ = {};
  int problem_;
  bool is_open_;
};

}  // namespace

std::optional<FileStatus> StatusOf(const std::string& path) {
  return StatusWith(path, true);
}

std::optional<FileStatus> LinkStatusOf(const std::string& path) {
  return StatusWith(path, false);
}

std::string ResolvedPath(const std::string& path) {
  return FinalPath(path);
}

// The system resolves links only to an existing file, and completely.
std::string LinkTarget(const std::string& link) {
  return FinalPath(link);
}

int ListNames(const std::string& folder, std::vector<std::string>& names) {
  Listing listing(folder);
  for (; listing.HasEntry(); listing.Next()) {
    if (listing.Name() != "." && listing.Name() != "..") names.emplace_back(listing.Name());
  }
  return listing.Problem();
}

}  // namespace tvl::cli
