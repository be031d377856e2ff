#include <atomic>
#include <cstdlib>
#include <thread>

#include "directory/small_store.h"
#include "platform/parts.h"
#include "platform/posix/replace_file.h"
#include "platform/target_file.h"
#include "support/faults.h"
#include "support/helper_process.h"

namespace {

constexpr std::size_t kSize = 300000;

string Safe(int level) {
  return "ZipOnTransfert=0\nSafeOnTransfert=" + std::to_string(level) + "\n";
}

// Alternately puts two versions of a file until it is killed.
const Role kPutter("putter", [](const std::vector<string>& arguments) {
  CTVLClientSmbOpr opr;
  if (opr.Open(Arg(arguments.at(1)), Arg(arguments.at(0)), Arg("test")) != 0) return 1;
  Say("open");
  for (int turn = 0;; ++turn) {
    int transferred = 1;
    if (opr.PutRemote(Arg("f"), Arg(turn % 2 == 0 ? "a" : "b"), &transferred) != 0) return 2;
    if (turn == 0) Say("put");
  }
});

TEST(DirectorySafeTransfer, KilledWriterLeavesOldOrNewFile) {
  SmallStore store(Safe(1), TempFolder::Memory());
  for (const char* version : {"a", "b"})
    store.folder.Write(string("work/") + version, string(kSize, *version));
  const int kills = std::getenv("TVL_TEST_LARGE") != nullptr ? 2000 : 24;
  std::atomic<bool> done = false;
  std::atomic<int> torn = 0;
  std::thread reader([&] {
    while (!done) {
      const bool exists = store.folder.Exists("root/f");
      const string seen = store.folder.Read("root/f");
      if (exists && (seen.size() != kSize || seen.find_first_not_of(seen[0]) != string::npos)) ++torn;
    }
  });
  for (int kill = 0; kill < kills; ++kill) {
    HelperProcess first({"putter", store.folder.Logical("store.ini"), store.folder.Logical("work")});
    HelperProcess second({"putter", store.folder.Logical("store.ini"), store.folder.Logical("work")});
    EXPECT_EQ(first.Hear() + second.Hear(), "openopen");
    if (kill % 2 == 0) {
      EXPECT_EQ(first.Hear(), "put");
    }
    usleep(static_cast<useconds_t>(kill * 37 % 1000));
    first.Signal(SIGKILL);
    second.Signal(SIGKILL);
    first.Wait();
    second.Wait();
  }
  done = true;
  reader.join();
  EXPECT_EQ(torn, 0);
  tvl::RemoveDeadParts(store.folder.Logical("root").c_str());
  EXPECT_EQ(store.folder.Tree("root"), std::vector<string>{"f"});
}

TEST(DirectorySafeTransfer, ReportsEachCopyOfGroup) {
  for (int level = 0; level <= 2; ++level) {
    SmallStore store(Safe(level), TempFolder::Memory());
    for (const char* name : {"a", "b", "c"}) store.folder.Write(string("work/d/") + name, name);
    ASSERT_EQ(store.opr.BeginTransfers(), 0);
    EXPECT_EQ(store.opr.BeginTransfers(), TVL_ERR_ALREADY_CONNECTED);
    for (const char* name : {"d/a", "d/b", "d/c"}) ASSERT_EQ(store.Put(name), 0);
    EXPECT_EQ(store.folder.Exists("root/d/b"), level < 2);
    int count = 0;
    CString list;
    EXPECT_EQ(store.opr.GetRemoteDirContent(Arg("d"), Arg("*.*"), &count, list), 0);
    EXPECT_EQ(count, level < 2 ? 3 : 0) << "parts are not listed";
    if (level == 2) store.folder.Make("root/d/b/taken");
    std::vector<int> codes;
    const auto collect = [](int index, int code, void* into) {
      auto* results = static_cast<std::vector<int>*>(into);
      EXPECT_EQ(index, static_cast<int>(results->size()));
      results->push_back(code);
    };
    const int failure = level == 2 ? 22 : 0;
    EXPECT_EQ(store.opr.EndTransfers(collect, &codes), failure);
    EXPECT_EQ(codes, (std::vector<int>{0, failure, 0}));
    EXPECT_EQ(store.folder.Read("root/d/a") + store.folder.Read("root/d/c"), "ac");
    // Whichever sync fails, the file is reported as failed, and exists completely or not at all.
    int failed_syncs = 0;
    for (int at = 1;; ++at) {
      store.folder.Write("work/d/a", "new" + std::to_string(at));
      ASSERT_EQ(store.opr.BeginTransfers(), 0);
      ASSERT_EQ(store.Put("d/a", 1), 0);
      codes.clear();
      {
        const Faults faults(at, EIO);
        store.opr.EndTransfers(collect, &codes);
      }
      const string now = store.folder.Read("root/d/a");
      ASSERT_EQ(codes.size(), 1U);
      EXPECT_TRUE(now == "new" + std::to_string(at) || (codes[0] != 0 && !now.empty())) << at << now;
      if (Faults::Hit() == nullptr) break;
      if (codes[0] != 0 && std::strstr(Faults::Hit(), "sync") != nullptr) ++failed_syncs;
    }
    EXPECT_EQ(failed_syncs, level == 2 ? 2 : 0) << "before and after the rename";
    // A group that is not ended leaves no files.
    const std::vector<string> before = store.folder.Tree("root/d");
    ASSERT_EQ(store.opr.BeginTransfers(), 0);
    ASSERT_EQ(store.Put("d/c", 1), 0);
    store.opr.Close();
    EXPECT_EQ(store.folder.Tree("root/d"), before);
    tvl::RemoveDeadParts(store.folder.Logical("root/d").c_str());
    EXPECT_EQ(store.folder.Tree("root").size(), level < 2 ? 4U : 5U);
  }
}

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

}  // namespace
