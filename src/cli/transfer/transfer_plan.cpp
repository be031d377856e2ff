#include "cli/transfer/transfer_plan.h"

#include <algorithm>
#include <cerrno>

#include <tvlclient/errors.h>
#include <tvlclient/store.h>

#include "cli/file_status.h"
#include "cli/interrupt.h"
#include "cli/output/text.h"
#include "cli/transfer/folder_names.h"

namespace tvl::cli {
namespace {

constexpr char kBackslashText[] = "its name contains a backslash";
constexpr char kCircleText[] = "a link that forms a loop";

// A file that is being written.
bool IsPart(const char* name) {
  return TVLStoreFileKind(name) == TVL_FILE_PART;
}

}  // namespace

TransferPlan::TransferPlan(Store& store, TransferLog& log, Direction direction, bool recursive, bool follow)
    : store_(store),
      log_(log),
      direction_(direction),
      recursive_(recursive),
      own_files_(store),
      write_root_(store.StorePath({}), follow || !store.IsDirectory()) {}

std::string TransferPlan::SourcePath(const NamePair& names) const {
  return direction_ != Direction::kPut ? store_.StorePath(names.remote) : store_.LocalPath(names.local);
}

std::string TransferPlan::TargetPath(const NamePair& names) const {
  return direction_ != Direction::kPut ? store_.LocalPath(names.local) : store_.StorePath(names.remote);
}

std::uint64_t TransferPlan::TotalBytes() const {
  std::uint64_t total = 0;
  for (const TransferJob& job : jobs_) total += job.size.value_or(0);
  return total;
}

void TransferPlan::AddAll(const std::vector<NamePair>& names, Reporter& reporter) {
  ScanNotice notice(reporter, store_.Name());
  notice_ = &notice;
  for (const NamePair& pair : names) Add(pair);
  notice_ = nullptr;
}

void TransferPlan::Add(const NamePair& names) {
  const std::string path = SourcePath(names);
  if (path.empty()) {  // on a server, which reports its own errors
    if (recursive_)
      log_.ReportFailed(names, {kFailed, TVL_ERR_NOT_SUPPORTED, "a server does not list its folders", 0, {}});
    else
      jobs_.push_back({names, false, {}, false});
    return;
  }
  if (const auto status = StatusOf(path))
    AddTop(names, *status);
  else
    ReportMissing(names, errno);
}

// Reports the library's error for an inaccessible name in the store, and the system's error for a local one.
void TransferPlan::ReportMissing(const NamePair& names, int error) {
  const std::string path = SourcePath(names);
  if (direction_ == Direction::kPut) {
    log_.ReportFailed(names, SystemFailure("cannot be read", error, path));
    return;
  }
  std::string remote = names.remote;
  ForgetFileErrors();
  const int code = store_.Client().ExistsRemote(remote.data());
  if (code != TVL_OK) {
    log_.ReportFailed(names, store_.Explain(code, names));
  } else {
    log_.ReportFailed(names, SystemFailure("cannot be read", error, path));
  }
}

// Returns why the target must not be written, or null. A get writes into a folder of the user and is not
// restricted.
const char* TransferPlan::WhyTargetRefused(const std::string& target) {
  if (direction_ == Direction::kGet || target.empty()) return nullptr;
  if (own_files_.Include(target)) return kOwnFile;
  return write_root_.IsLeftBy(target) ? kLeadsOutText : nullptr;
}

void TransferPlan::AddTop(const NamePair& names, const FileStatus& status) {
  if (const char* why = WhyTargetRefused(TargetPath(names))) return log_.ReportSkipped(names, why);
  if (status.IsFolder()) {
    if (recursive_)
      AddTree(names);
    else
      log_.ReportFailed(names, {kFailed, 0, "is a folder", 0, {}, "use -r for a whole tree"});
    return;
  }
  const std::string target = TargetPath(names);
  if (names.Target(direction_).ends_with('/') || IsFolder(target)) {
    log_.ReportFailed(names, {kFailed,
                              0,
                              "'" + names.Target(direction_) + "' is a folder on the other side",
                              0,
                              {},
                              "use -t DIR to transfer into a folder"});
  } else {
    AddFile(names, status, false);
  }
}

void TransferPlan::AddFile(const NamePair& names, const FileStatus& status, bool is_new) {
  if (status.IsFile()) {
    jobs_.push_back({names, false, status.size, is_new});
  } else {
    log_.ReportSkipped(names, "neither a file nor a folder");
  }
}

void TransferPlan::AddTree(const NamePair& names) {
  targets_.CutTo(0);
  targets_.Add(TargetPath(names));
  WalkFolder(names);
}

void TransferPlan::WalkFolder(const NamePair& names) {
  const InFolder here(trail_, SourcePath(names));
  const std::size_t before = jobs_.size();
  std::vector<std::string> entries;
  if (!List(names, entries)) return;
  std::sort(entries.begin(), entries.end());
  const FolderNames there(TargetPath(names));
  for (const std::string& entry : entries) {
    if (Interrupted()) return;
    WalkEntry({Joined(names.remote, entry), Joined(names.local, entry)}, there.Lack(entry));
  }
  if (jobs_.size() > before) return;
  if (direction_ == Direction::kPut && !store_.IsDirectory())
    log_.ReportSkipped(names, "an empty folder, which a server does not create");
  else
    jobs_.push_back({names, true, {}, false});
}

void TransferPlan::WalkEntry(const NamePair& names, bool is_new) {
  notice_->Count();
  const std::string path = SourcePath(names);
  const auto status = StatusOf(path);
  if (!status) {
    const int error = errno;
    if (error == ENOENT && Exists(path))
      log_.ReportSkipped(names, "a dangling link");
    else
      log_.ReportFailed(names, SystemFailure("cannot be read", error, path));
  } else if (IsLeftOut(names, *status, path, is_new)) {
    return;
  } else if (status->IsFolder()) {
    WalkFolder(names);
  } else {
    AddFile(names, *status, is_new);
  }
}

// A target that does not exist cannot be one of the store's own files under another name, nor a link.
const char* TransferPlan::WhyEntryRefused(const std::string& target, bool is_new) {
  if (is_new) return own_files_.IsConfigurationName(target) ? kOwnFile : nullptr;
  const NameStatus status = LookAtName(target);
  if (own_files_.IncludeEntry(target, status)) return kOwnFile;
  return write_root_.IsLeftBy(target, status) ? kLeadsOutText : nullptr;
}

bool TransferPlan::IsLeftOut(const NamePair& names, const FileStatus& status, const std::string& path,
                             bool is_new) {
  // In the source, the store's own files are not documents and are skipped silently.
  if (direction_ != Direction::kPut && own_files_.Hold(status)) return true;
  if (direction_ != Direction::kGet) {
    const char* why = WhyEntryRefused(TargetPath(names), is_new);
    if (why != nullptr) log_.ReportSkipped(names, why);
    if (why != nullptr) return true;
  }
  if (!status.IsFolder()) return false;
  if (targets_.Hold(status)) {
    log_.ReportSkipped(names, "is the folder that the tree is copied to");
    return true;
  }
  const bool circle = IsLink(path) && trail_.Hold(status);
  if (!circle && (is_new || !LeadsBack(TargetPath(names)))) return false;
  log_.ReportSkipped(names, kCircleText);
  return true;
}

bool TransferPlan::List(const NamePair& names, std::vector<std::string>& entries) {
  return direction_ != Direction::kPut ? ListStore(names, entries) : ListHost(names, entries);
}

bool TransferPlan::ListStore(const NamePair& names, std::vector<std::string>& entries) {
  struct Listing {
    TransferPlan& plan;
    const NamePair& names;
    std::vector<std::string>& entries;

    static void Add(const TVLDirEntry* entry, void* listing) {
      auto& self = *static_cast<Listing*>(listing);
      if (IsPart(entry->name)) return;
      if (entry->leftOut == TVL_LEFT_OUT_NOT) {
        self.entries.emplace_back(entry->name);
        return;
      }
      self.plan.log_.ReportSkipped(
          {Joined(self.names.remote, entry->name), Joined(self.names.local, entry->name)},
          entry->leftOut == TVL_LEFT_OUT_BACKSLASH ? kBackslashText : kCircleText);
    }
  } listing = {*this, names, entries};
  ForgetFileErrors();
  const int code = store_.Directory()->ListRemoteDir(names.remote.c_str(), "*.*", Listing::Add, &listing);
  if (code != TVL_OK) log_.ReportFailed(names, store_.Explain(code, names));
  return code == TVL_OK;
}

bool TransferPlan::ListHost(const NamePair& names, std::vector<std::string>& entries) {
  const std::string path = SourcePath(names);
  std::vector<std::string> found;
  if (const int problem = ListNames(path, found)) {
    log_.ReportFailed(names, SystemFailure("cannot be listed", problem, path));
    return false;
  }
  for (const std::string& name : found) {
    if (IsPart(name.c_str())) continue;
    if (name.find('\\') == std::string::npos) {
      entries.push_back(name);
    } else {
      log_.ReportSkipped({Joined(names.remote, name), Joined(names.local, name)}, kBackslashText);
    }
  }
  return true;
}

}  // namespace tvl::cli
