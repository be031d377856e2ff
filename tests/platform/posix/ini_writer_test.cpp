#include <grp.h>
#include <sys/xattr.h>

#include "platform/fixtures.h"
#include "platform/last_error.h"
#include "support/faults.h"
#include "support/helper_process.h"

namespace {

TEST_F(IniWriter, KeepsLinksModesAndOwners) {
  folder.Write("real/f.ini", "[Env]\nK=old\n");
  fs::permissions(folder.Host("real/f.ini"), fs::perms(0640));
  fs::create_symlink("real/f.ini", folder.Host("link.ini"));
  EXPECT_EQ(Put("K", "v", "link.ini"), 1);
  EXPECT_TRUE(fs::is_symlink(folder.Host("link.ini")));
  EXPECT_EQ(folder.Read("real/f.ini"), "[Env]\nK=v\n");
  EXPECT_EQ(fs::status(folder.Host("real/f.ini")).permissions(), fs::perms(0640));
  fs::create_symlink("real/made.ini", folder.Host("dangling.ini"));
  EXPECT_EQ(Put("K", "v", "dangling.ini"), 1);
  EXPECT_EQ(folder.Read("real/made.ini"), "[Env]\nK=v\n");
  EXPECT_TRUE(fs::is_symlink(folder.Host("dangling.ini")));
  // What a killed writer left is no obstacle, and a user's file is not touched.
  folder.Write("real/.f.ini.tvlpart", "half");
  folder.Write("real/f.ini.new", "mine");
  EXPECT_EQ(Put("K", "w", "link.ini"), 1);
  EXPECT_EQ(folder.Read("real/f.ini.new"), "mine");
  EXPECT_EQ(folder.Tree("real"),
            (std::vector<string>{"f.ini", "f.ini.lock", "f.ini.new", "made.ini", "made.ini.lock"}));
}

// Whichever call fails, with the lock file there or not: the file is the old one or the new one, nothing else
// is left, and no descriptor is.
TEST_F(IniWriter, FailureLeavesOldOrNewFile) {
  const string before = "[Env]\nK=old\nb=2\n";
  const string after = "[Env]\nK=v\nb=2\n";
  for (const int error : {ENOSPC, EIO, ESTALE}) {
    int failed_syncs = 0;  // of the file; that of its folder is not worth a failure
    for (int call = 1;; ++call) {
      ASSERT_LT(call, 80);
      folder.Write("f.ini", before);
      if (call % 2 == 0) fs::remove(folder.Host("f.ini.lock"));
      const BOOL done = WithFault(call, error, [&] { return Put("K", "v"); });
      EXPECT_EQ(folder.Read("f.ini"), done == 1 ? after : before) << call;
      fs::remove(folder.Host("f.ini.lock"));
      EXPECT_EQ(folder.Tree(), std::vector<string>{"f.ini"}) << call;
      if (Faults::Hit() == nullptr) break;
      if (done == 0 && Faults::Hit() == string("fsync")) ++failed_syncs;
    }
    EXPECT_EQ(failed_syncs, 1);
  }
}

// Another computer's replacement of the file is waited out. On SMB the file can be missing meanwhile.
TEST_F(IniWriter, ReadersTryAgain) {
  folder.Write("f.ini", "[Env]\nK=v\n");
  folder.Write("f.ini.lock", "");
  for (const int error : {ESTALE, EACCES, ENOENT}) {
    for (int call = 1; call <= 4; ++call) {
      const Faults faults(call, error);
      EXPECT_EQ(Get("K"), "v") << call;
    }
  }
}

// What SMB does where this computer has the target of a rename open: it refuses, and removes the target.
// Until the last close of it a look still finds it, but no open for writing.
int refusals = 0;
int last_refusal = EACCES;
string marked_for_deletion;
int OpenUnlessMarked(const char* path, int flags, mode_t mode) {
  if (path != marked_for_deletion || (flags & O_ACCMODE) == O_RDONLY) return open(path, flags, mode);
  errno = ENOENT;
  return -1;
}
int MarkingRename(const char*, const char* to) {
  marked_for_deletion = to;
  errno = EIO;
  return -1;
}
int RefusedRename(const char* from, const char* to) {
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    EXPECT_NE(fs::read_symlink(entry.path(), ignored), to) << "open during the rename";
  }
  unlink(to);
  if (refusals == 0) return rename(from, to);
  errno = --refusals == 0 ? last_refusal : EACCES;
  return -1;
}

TEST_F(IniWriter, RetriesRefusedRenameAndKeepsItsPart) {
  const auto real = tvl::System().rename;
  tvl::System().rename = RefusedRename;
  folder.Write("f.ini", "[Env]\nK=old\n");
  refusals = 3;
  EXPECT_EQ(Put("K", "v"), 1);
  EXPECT_EQ(Get("K"), "v");
  refusals = 1;
  last_refusal = EIO;
  for (const int expected : {EIO, EEXIST}) {  // the second writer finds no file, but its part
    EXPECT_EQ(Put("K", "w"), 0);
    const tvl::LastError error = tvl::TakeLastError();
    EXPECT_EQ(error.code, expected);
    EXPECT_EQ(error.path, folder.Host(".f.ini.tvlpart"));
    EXPECT_EQ(folder.Read(".f.ini.tvlpart"), "[Env]\nK=w\n");
    EXPECT_FALSE(folder.Exists("f.ini"));
  }
  folder.Write("f.ini", "[Env]\nK=old\n");
  tvl::System().rename = MarkingRename;
  const auto real_open = std::exchange(tvl::System().open, OpenUnlessMarked);
  EXPECT_EQ(Put("K", "x"), 0);
  EXPECT_EQ(folder.Read(".f.ini.tvlpart"), "[Env]\nK=x\n");
  tvl::System().open = real_open;
  tvl::System().rename = real;
}

// Arguments: file, user, then the groups.
const Role kWriter("ini writer", [](const std::vector<string>& arguments) {
  std::vector<gid_t> groups;
  for (std::size_t i = 2; i < arguments.size(); ++i)
    groups.push_back(static_cast<gid_t>(std::stoul(arguments[i])));
  const auto user = static_cast<uid_t>(std::stoul(arguments[1]));
  if (setgroups(groups.size(), groups.data()) != 0 || setgid(groups[0]) != 0 || setuid(user) != 0) return 98;
  umask(077);
  return WritePrivateProfileStringA("Env", "K", "v", arguments[0].c_str()) == 1 ? 0 : tvl::LastErrorCode();
});

// An access list: the owner, a named user, the group, the mask and all others.
string AccessList(char owner, uid_t user, char named, char group, char others) {
  string list("\2\0\0\0", 4);
  const auto add = [&list](char tag, char permissions, uid_t id) {
    list.append({tag, 0, permissions, 0});
    for (int byte = 0; byte < 4; ++byte) list += static_cast<char>(id >> (8 * byte));
  };
  add(1, owner, static_cast<uid_t>(-1));
  add(2, named, user);
  add(4, group, static_cast<uid_t>(-1));
  add(16, 6, static_cast<uid_t>(-1));
  add(32, others, static_cast<uid_t>(-1));
  return list;
}

TEST_F(IniWriter, WriteByAnotherUserKeepsGroupAndListOrFails) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  constexpr uid_t kAlice = 60001;
  constexpr uid_t kBob = 60002;
  constexpr uid_t kCarol = 60003;
  const string store = "60010";
  const struct {
    const char* name;
    mode_t mode;
    string list;
    std::vector<string> groups;
    int expected;
  } rows[] = {
      {"a member of the group", 0660, "", {"60002", store}, 0},
      {"the owner", 0640, "", {"60001", store}, 0},
      {"a member, with a list", 0660, AccessList(6, kCarol, 6, 6, 0), {"60002", store}, 0},
      {"open to all, but of another group", 0666, "", {"60002"}, EPERM},
      {"a named user, who would lock the owner out",
       0660,
       AccessList(6, kBob, 6, 4, 0),
       {"60002", store},
       EPERM},
      {"no right to write", 0640, "", {"60002", store}, EACCES},
  };
  chmod(folder.Host().c_str(), 0777);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    folder.Write("f.ini", "[Env]\nK=old\n");
    const string path = folder.Host("f.ini");
    ASSERT_EQ(chown(path.c_str(), kAlice, 60010), 0);
    chmod(path.c_str(), row.mode);
    if (!row.list.empty() &&
        setxattr(path.c_str(), "system.posix_acl_access", row.list.data(), row.list.size(), 0) != 0)
      continue;  // a file system without lists
    std::vector<string> arguments = {"ini writer", folder.Logical("f.ini"),
                                     row.groups[0] == "60001" ? "60001" : "60002"};
    arguments.insert(arguments.end(), row.groups.begin(), row.groups.end());
    EXPECT_EQ(HelperProcess(arguments).Wait(), row.expected);
    EXPECT_EQ(folder.Read("f.ini"), row.expected == 0 ? "[Env]\nK=v\n" : "[Env]\nK=old\n");
    const struct stat status = folder.Status("f.ini");
    EXPECT_EQ(status.st_gid, 60010U);
    EXPECT_EQ(status.st_mode & 07777U, row.mode);
    char list[256];
    const ssize_t size = getxattr(path.c_str(), "system.posix_acl_access", list, sizeof list);
    EXPECT_EQ(string(list, size < 0 ? 0 : static_cast<std::size_t>(size)), row.list);
    EXPECT_EQ(HelperProcess({"ini writer", folder.Logical("f.ini"), "60001", "60001", store}).Wait(), 0)
        << "the owner can write as before";
    fs::remove(path);
    fs::remove(path + ".lock");
  }
}

}  // namespace
