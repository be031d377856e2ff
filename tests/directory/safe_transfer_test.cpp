#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <thread>

#include "directory/small_store.h"
#include "platform/last_error.h"
#include "platform/target_file.h"
#include "store/part_name.h"
#include "support/faults.h"
#include "support/helper_process.h"

namespace {

constexpr std::size_t kSize = 300000;

// Alternately puts two versions of some files until it is killed; more than one file in a group.
const Role kPutter("putter", [](const std::vector<string>& arguments) {
  CTVLClientSmbOpr opr;
  if (opr.Open(Arg(arguments.at(1)), Arg(arguments.at(0)), Arg("test")) != 0) return 1;
  Say("open");
  const int files = std::stoi(arguments.at(2));
  for (int turn = 0;; ++turn) {
    if (files > 1 && opr.BeginTransfers() != 0) return 2;
    for (int file = 0; file < files; ++file) {
      int transferred = 1;
      const string name = "f" + std::to_string(file);
      if (opr.PutRemote(Arg(name), Arg(turn % 2 == 0 ? "a" : "b"), &transferred) != 0) return 3;
    }
    if (files > 1 && opr.EndTransfers(nullptr, nullptr) != 0) return 4;
    if (turn == 0) Say("put");
  }
});

void RemoveDeadParts(const TempFolder& folder, const string& where) {
  for (const string& name : folder.Tree(where)) {
    if (tvl::IsPartName(name)) DeleteFileA(folder.Logical(where + "/" + name).c_str());
  }
}

class KilledWriter : public testing::TestWithParam<int> {};

TEST_P(KilledWriter, LeavesOldOrNewFiles) {
  if (!kReplacesOpenFiles) GTEST_SKIP() << "Wine does not replace a file that is open";
  SmallStore store(Safe(1), TempFolder::Memory());
  for (const char* version : {"a", "b"})
    store.folder.Write(string("work/") + version, string(kSize, *version));
  std::vector<string> names;
  for (int file = 0; file < GetParam(); ++file) names.push_back("f" + std::to_string(file));
  const int kills = std::getenv("TVL_TEST_LARGE") != nullptr ? 2000 : 24;
  std::atomic<bool> done = false;
  std::atomic<int> torn = 0;
  std::thread reader([&] {
    for (std::size_t next = 0; !done; ++next) {
      const string path = "root/" + names[next % names.size()];
      const bool exists = store.folder.Exists(path);
      const string seen = store.folder.Read(path);
      if (exists && (seen.size() != kSize || seen.find_first_not_of(seen[0]) != string::npos)) ++torn;
    }
  });
  for (int kill = 0; kill < kills; ++kill) {
    const std::vector<string> putter = {"putter", store.folder.Logical("store.ini"),
                                        store.folder.Logical("work"), std::to_string(GetParam())};
    HelperProcess first(putter);
    HelperProcess second(putter);
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
  RemoveDeadParts(store.folder, "root");
  EXPECT_EQ(store.folder.Tree("root"), names);
}
INSTANTIATE_TEST_SUITE_P(DirectorySafeTransfer, KilledWriter, testing::Values(1, 6));

TEST(DirectorySafeTransfer, ReportsEachCopyOfGroup) {
  for (int level = 0; level <= 2; ++level) {
    if (level == 1 && !kHasFaults) continue;
    SmallStore store(Safe(level), TempFolder::Memory());
    for (const char* name : {"a", "b", "c"}) store.folder.Write(string("work/d/") + name, name);
    std::optional<FailingRename> failing;
    if (level == 1) failing.emplace("/b");
    ASSERT_EQ(store.opr.BeginTransfers(), 0);
    EXPECT_EQ(store.opr.BeginTransfers(), TVL_ERR_ALREADY_CONNECTED);
    for (const char* name : {"d/a", "d/b", "d/c"}) ASSERT_EQ(store.Put(name), 0);
    int count = 0;
    CString list;
    EXPECT_EQ(store.opr.GetRemoteDirContent(Arg("d"), Arg("*.*"), &count, list), 0);
    if (level != 1) {
      EXPECT_EQ(count, level == 0 ? 3 : 0) << "parts are not listed";
    }
    if (level == 2) store.folder.Make("root/d/b/taken");
    std::vector<int> codes;
    const auto collect = [](int index, int code, void* into) {
      auto* results = static_cast<std::vector<int>*>(into);
      EXPECT_EQ(index, static_cast<int>(results->size()));
      results->push_back(code);
    };
    const int failure = level > 0 ? 22 : 0;
    static_cast<void>(tvl::TakeLastError());
    EXPECT_EQ(store.opr.EndTransfers(collect, &codes), failure);
    failing.reset();
    EXPECT_EQ(fs::path(tvl::TakeLastError().path), level > 0 ? store.folder.Host("root/d/b") : "");
    EXPECT_EQ(codes, (std::vector<int>{0, failure, 0}));
    EXPECT_EQ(store.folder.Read("root/d/a") + store.folder.Read("root/d/c"), "ac");
    // Whichever sync fails, the file is reported as failed, and exists completely or not at all.
    int failed_syncs = 0;
    for (int at = 1; level != 1; ++at) {
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
    EXPECT_EQ(failed_syncs, kHasFaults && level == 2 ? 2 : 0) << "before and after the rename";
    // A group that is not ended leaves no files.
    const std::vector<string> before = store.folder.Tree("root/d");
    ASSERT_EQ(store.opr.BeginTransfers(), 0);
    ASSERT_EQ(store.Put("d/c", 1), 0);
    store.opr.Close();
    EXPECT_EQ(store.folder.Tree("root/d"), before);
    RemoveDeadParts(store.folder, "root/d");
    constexpr std::size_t left[] = {4, 3, 5};
    EXPECT_EQ(store.folder.Tree("root").size(), left[level]);
  }
}

TEST(DirectorySafeTransfer, RepeatsCopyOfGroupWhosePartWasRemoved) {
  if (!kHasFaults) GTEST_SKIP() << "no system call can be made to fail on this system";
  for (const bool packs : {false, true}) {
    SmallStore store(packs ? "ZipOnTransfert=1\nSafeOnTransfert=1\n" : Safe(1), TempFolder::Memory());
    for (const char* name : {"a", "b", "c"}) store.folder.Write(string("work/") + name, name);
    const FailingRename losing("/b", true);
    ASSERT_EQ(store.opr.BeginTransfers(), 0);
    for (const char* name : {"a", "b", "c"}) ASSERT_EQ(store.Put(name), 0);
    EXPECT_EQ(store.opr.EndTransfers(nullptr, nullptr), 0);
    EXPECT_EQ(store.folder.Tree("root"), (std::vector<string>{"a", "b", "c"}));
    EXPECT_EQ(store.folder.Read("root/b"), "b");
  }
}

// The times of all but the first part of a group are set in the background.
TEST(DirectorySafeTransfer, SetsTimesOfGroup) {
  if (!kHasFaults) GTEST_SKIP() << "no system call can be made to fail on this system";
  SmallStore store(Safe(1), TempFolder::Memory());
  for (const char* name : {"a", "refused", "c"}) store.folder.Write(string("work/") + name, name);
  const auto written = fs::file_time_type::clock::now() - std::chrono::hours(30);
  fs::last_write_time(store.folder.Host("work/c"), written);
  const FailingTimes failing(sizeof "refused" - 1);
  ASSERT_EQ(store.opr.BeginTransfers(), 0);
  for (const char* name : {"a", "refused", "c"}) ASSERT_EQ(store.Put(name), 0);
  std::vector<int> codes;
  const auto collect = [](int, int code, void* into) {
    static_cast<std::vector<int>*>(into)->push_back(code);
  };
  EXPECT_EQ(store.opr.EndTransfers(collect, &codes), 22);
  EXPECT_EQ(codes, (std::vector<int>{0, 22, 0}));
  EXPECT_EQ(store.folder.Tree("root"), (std::vector<string>{"a", "c"}));
  EXPECT_EQ(fs::last_write_time(store.folder.Host("root/c")), written);
}

}  // namespace
