#include <string>

#include "platform/files.h"
#include "platform/held_file.h"
#include "platform/last_error.h"
#include "platform/names.h"
#include "platform/remove_tree.h"
#include "platform/shared_folder.h"
#include "store/check/check_share.h"
#include "store/check/checks.h"
#include "store/check/parts.h"
#include "store/check/peer_checks.h"
#include "store/host_name.h"

// The checks of a share for a system on which every open file has locks of its own, so that two open files
// stand for two programs. What computers see of each other is checked from Linux.

namespace tvl {
namespace {

constexpr Check<TVLStoreLayout> kStoreChecks[] = {{"parts of the store", true, CheckParts},
                                                  {"SafeOnTransfert", false, CheckSafety},
                                                  {"leftovers", false, CheckLeftovers}};

constexpr char kUseLocks[] = "use a file system with byte-range locks, such as NTFS or an SMB share";

// A folder for the checks, removed with its contents at the end.
class TestFolder {
 public:
  explicit TestFolder(const std::string& folder) : path_(InHostFolder(folder, ".tvl-doctor-" + NewId())) {
    TakeLastError();
    created_ = CreateSharedFolder(path_.c_str());
  }
  ~TestFolder() {
    constexpr RemovalHooks kHooks = {nullptr, nullptr, [] {}, [] { return false; }};
    if (created_) static_cast<void>(RemoveTree(path_.c_str(), path_.rfind('/'), kHooks));
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  [[nodiscard]] bool IsCreated() const { return created_; }

  // Creates a file and returns its path.
  [[nodiscard]] std::string File(const char* name) const {
    const std::string path = InHostFolder(path_, name);
    static_cast<void>(CreateSharedFile(path.c_str(), "x"));
    return path;
  }

 private:
  std::string path_;
  bool created_ = false;
};

// A file that is held as long as the object exists.
class HeldFile {
 public:
  explicit HeldFile(const std::string& path)
      : file_(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, 0)),
        holds_(file_ != INVALID_HANDLE_VALUE && HoldFile(file_)) {}
  ~HeldFile() {
    if (holds_) ReleaseFile(file_);
    if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
  }
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

  [[nodiscard]] bool Holds() const { return holds_; }

 private:
  HANDLE file_;
  bool holds_;
};

Finding CheckLocks(const TestFolder& folder) {
  const std::string path = folder.File("lock");
  {
    const HeldFile held(path);
    if (!held.Holds()) return Bad("a file cannot be locked", kUseLocks);
    const HeldFile other(path);
    if (other.Holds() || !IsFileHeld(path.c_str())) return Bad("two programs get the same lock", kUseLocks);
  }
  return IsFileHeld(path.c_str()) ? Bad("the lock of a closed file is not released", kUseLocks)
                                  : Good("one program at a time");
}

Finding CheckDeletion(const TestFolder& folder) {
  const std::string path = folder.File("held");
  {
    const HeldFile held(path);
    if (!held.Holds() || DeleteFileA(path.c_str()) != 0 || !NameExists(path.c_str()))
      return Bad("a held file was deleted", kUseLocks);
  }
  if (DeleteFileA(path.c_str()) == 0 || NameExists(path.c_str()))
    return Bad("a file that is no longer held cannot be deleted", kUseLocks);
  return Good("refused while another program holds it");
}

Finding CheckCase(const TestFolder& folder) {
  static_cast<void>(folder.File("Case"));
  const std::string other = folder.File("other");
  const bool alike = NameExists((other.substr(0, other.rfind('/') + 1) + "cASE").c_str());
  return Good(alike ? "'a' and 'A' are the same name" : "'a' and 'A' are different names");
}

StoreFailure TryFolder(const std::string& folder, const FindingReport& report) {
  const TestFolder test(folder);
  if (!test.IsCreated()) return {TVL_ERR_CREATE_DIR, "nothing can be written", LastErrorCode(), folder};
  report.Add("locks", true, CheckLocks(test));
  report.Add("deletion of a held file", true, CheckDeletion(test));
  report.Add("letter case", false, CheckCase(test));
  return {};
}

}  // namespace

StoreFailure CheckShare(const std::string& folder, const TVLStoreLayout* store, TVL_CHECK_SCOPE scope,
                        const FindingReport& report) {
  TakeLastError();
  const DWORD attributes = GetFileAttributesA(folder.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES)
    return {TVL_ERR_SERVER_FILE, "no such folder", LastErrorCode(), folder};
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
    return {TVL_ERR_SERVER_FILE, "is not a folder", 0, folder};
  if (scope == TVL_CHECK_TRY) {
    if (StoreFailure failure = TryFolder(folder, report)) return failure;
  }
  if (store != nullptr) {
    for (const Check<TVLStoreLayout>& check : kStoreChecks)
      report.Add(check.name, check.needed, check.run(*store));
  }
  return {};
}

StoreFailure RunPeerChecks(const std::string& folder, const std::string& /*name*/,
                           const FindingReport& /*report*/) {
  return {TVL_ERR_SERVER_FILE, "computers are checked against each other on Linux only", 0, folder};
}

}  // namespace tvl
