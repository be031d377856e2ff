#include <unistd.h>

#include "directory/small_store.h"
#include "platform/posix/replace_file.h"
#include "support/faults.h"

// What only POSIX has: owners, modes, holes, second names, and system calls that can be made to fail.

namespace {

// Behaves like SMB when a program of this computer has the target open.
TEST(DirectorySafeTransfer, RetriesRefusedRenameAndKeepsPartOfLostTarget) {
  const TempFolder folder;
  static const tvl::SystemCalls real = tvl::System();
  static int refusals = 0;
  static string target;
  target = folder.Host("f");
  for (const bool lost : {false, true}) {
    folder.Write("f", "old");
    folder.Write("part", "new");
    refusals = 0;
    tvl::System().rename = [](const char* from, const char* to) {
      errno = EACCES;
      return ++refusals < 4 ? -1 : real.rename(from, to);
    };
    if (lost) {
      tvl::System().rename = Failing<EIO>();
      // The target is marked for deletion: the cache still shows it, and only an open contacts the server.
      tvl::System().open = [](const char* path, int flags, mode_t mode) {
        if (path != target || refusals++ == 0) return real.open(path, flags, mode);
        errno = ENOENT;
        return -1;
      };
    }
    const auto replaced = tvl::ReplaceFile(folder.Host("part").c_str(), target.c_str(), tvl::Target::kExists);
    tvl::System() = real;
    EXPECT_EQ(replaced, lost ? tvl::Replacement::kFailed : tvl::Replacement::kDone);
    EXPECT_EQ(folder.Read(lost ? "part" : "f"), "new");
  }
}

// A part that is not held may be mistaken for one that a killed writer left.
TEST(DirectorySafeTransfer, RewritesRemovedPart) {
  static const tvl::SystemCalls real = tvl::System();
  static int removals = 0;
  for (const int packed : {0, 1}) {
    SmallStore store("ZipOnTransfert=" + std::to_string(packed) + "\nSafeOnTransfert=1\n");
    store.folder.Write("work/f", "new");
    for (const char* old : {"", "old"}) {
      if (*old != 0) store.folder.Write("root/f", old);
      removals = 0;
      tvl::System().renameat_noreplace = [](int from_folder, const char* from, int to_folder,
                                            const char* to) {
        if (++removals == 1) unlink(from);
        return real.renameat_noreplace(from_folder, from, to_folder, to);
      };
      tvl::System().rename = [](const char* from, const char* to) {
        if (++removals == 1) unlink(from);
        return real.rename(from, to);
      };
      EXPECT_EQ(store.Put("f", 1), 0);
      tvl::System() = real;
      EXPECT_EQ(removals, 2);
      EXPECT_EQ(store.folder.Read("root/f"), "new");
      EXPECT_EQ(store.folder.Tree("root"), std::vector<string>{"f"});
    }
  }
}

// Also on NFS, where a rename cannot refuse to replace.
TEST(DirectorySafeTransfer, ComparesExistingFilesAlthoughNewOnesAreExpected) {
  static const tvl::SystemCalls real = tvl::System();
  for (int kind = 0; kind < 6; ++kind) {
    SCOPED_TRACE(kind);
    SmallStore store(Safe(kind / 2) + "FileCompare=time\n");
    if (kind % 2 == 1) {
      tvl::System().renameat_noreplace = Failing<EINVAL>();
    }
    store.opr.TransfersExpectNew(1);
    for (const char* contents : {"new", "new", "newer"}) {
      store.folder.Write("work/f", contents);
      const bool first = !store.folder.Exists("root/f");
      const bool same = store.folder.Read("root/f") == contents;
      store.folder.SetTimes("work/f", {1000, 0}, {1000, 0});
      EXPECT_EQ(store.Put("f"), 0);
      EXPECT_EQ(store.transferred, same ? 0 : 1);
      EXPECT_EQ(store.folder.Read("root/f"), contents);
      if (!first) {
        EXPECT_EQ(store.folder.Status("root/f").st_mode & 0777, 0640U);
      }
      ASSERT_EQ(chmod(store.folder.Host("root/f").c_str(), 0640), 0);
    }
    tvl::System() = real;
    EXPECT_EQ(store.folder.Tree("root"), std::vector<string>{"f"});
  }
}

TEST(DirectorySafeTransfer, KeepsHolesModesAndSecondNames) {
  for (int kind = 0; kind < 6; ++kind) {
    SmallStore store("ZipOnTransfert=" + std::to_string(kind % 2) +
                     "\nSafeOnTransfert=" + std::to_string(kind / 2) + "\n");
    const mode_t before = umask(022);
    store.folder.Write("work/f", "head");
    ASSERT_EQ(truncate(store.folder.Host("work/f").c_str(), 8 << 20), 0);
    ASSERT_EQ(chmod(store.folder.Host("work/f").c_str(), 0750), 0);
    ASSERT_EQ(store.Put("f", 1), 0);
    store.folder.Make("root/shared");
    ASSERT_EQ(chmod(store.folder.Host("root/shared").c_str(), 02770), 0);
    ASSERT_EQ(chmod(store.folder.Host("work/f").c_str(), 0600), 0);
    ASSERT_EQ(store.Put("shared/f", "f", 1), 0);
    umask(077);
    ASSERT_EQ(store.Put("shared/sub/f", "f", 1), 0);
    umask(022);
    ASSERT_EQ(store.Put("f", 1), 0);
    umask(before);
    const struct stat status = store.folder.Status("root/f");
    EXPECT_EQ(status.st_mode & 07777, 0750U) << "an existing target keeps its mode" << kind;
    EXPECT_EQ(status.st_size, 8 << 20);
    EXPECT_LT(status.st_blocks, 1000) << kind;
    EXPECT_EQ(store.folder.Status("root/shared/f").st_mode & 07777, 0660U) << kind;
    EXPECT_EQ(store.folder.Status("root/shared/sub").st_mode & 0777, 0770U)
        << "a new folder has the group bits of a setgid folder";
    EXPECT_EQ(store.opr.WhyInPlace(), nullptr);
    ASSERT_EQ(link(store.folder.Host("root/f").c_str(), store.folder.Host("root/second").c_str()), 0);
    store.folder.Write("work/f", "short");
    ASSERT_EQ(store.Put("f", 1), 0);
    EXPECT_EQ(store.folder.Read("root/second"), "short");
    EXPECT_EQ(store.opr.WhyInPlace() != nullptr, kind / 2 > 0);
    EXPECT_EQ(store.Put("f", "..\\..\\..\\proc\\self\\mem", 1), kind % 2 == 0 ? 22 : 27);
  }
}

// The times of a target that belongs to another user cannot be set, so the source gets those of the target.
TEST(DirectoryTransferByTime, ConvergesWithTargetOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  SmallStore store("ZipOnTransfert=1\nFileCompare=time\n");
  store.folder.Write("root/f", "there");
  store.folder.Write("work/f", "longer");
  store.folder.SetTimes("work/f", {500, 5}, {1000, 7});
  for (const char* name : {"", "root", "work", "tmp", "root/f"})
    fs::permissions(store.folder.Host(name), fs::perms(0777));
  constexpr uid_t kNobody = 65534;
  for (const char* name : {"work", "work/f"})
    ASSERT_EQ(chown(store.folder.Host(name).c_str(), kNobody, kNobody), 0);
  ASSERT_EQ(seteuid(kNobody), 0);
  const int code = store.Put("f");
  const int first = store.transferred;
  const int again = store.Put("f");
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(std::tuple(code, first, again, store.transferred), std::tuple(0, 1, 0, 0));
  EXPECT_EQ(store.folder.Read("root/f"), "longer");
}

}  // namespace
