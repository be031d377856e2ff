#include <random>

#include "directory/small_store.h"
#include "store/part_name.h"
#include "support/faults.h"

namespace {

string Bytes(std::size_t size) {
  std::mt19937 random(7);
  string bytes(size, 0);
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

struct Case {
  bool put;
  int zip;
  int level;
  bool old;     // the target exists
  bool linked;  // it has two names, so it is written in place
  int error;
  Faults::Span span;
};

// Removes the parts that remain: those whose target was not found after a failed rename, and those that could
// not be removed.
void RemoveParts(const string& folder) {
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (tvl::IsPartName(entry.path().filename().string())) fs::remove(entry.path());
  }
}

constexpr char kOld[] = "what was there";

// Runs one transfer with a failure of the `at`-th system call. Returns false if there are fewer calls.
bool RunWithFault(SmallStore& store, const Case& c, const string& contents, int at) {
  const string out = store.folder.Host(c.put ? "root/out" : "work/out");
  fs::remove_all(out);
  const auto others = store.folder.Tree();
  if (c.old) store.folder.Write(c.put ? "root/out/f" : "work/out/f", kOld);
  if (c.linked) fs::create_hard_link(out + "/f", out + "/second");
  const int code = WithFault(at, c.error, c.span, [&] {
    return c.put ? store.Put("out/f", "in/f", 7) : store.Get("in/f", "out/f", 7);
  });
  const string hit = Faults::Hit() != nullptr ? Faults::Hit() : "";
  SCOPED_TRACE((c.put ? "put, call " : "get, call ") + std::to_string(at) + " " + hit + " zip " +
               std::to_string(c.zip) + " level " + std::to_string(c.level) + " error " +
               std::to_string(c.error));
  EXPECT_EQ(store.folder.Read(c.put ? "work/in/f" : "root/in/f"), contents);
  EXPECT_EQ(store.transferred, code == 0 ? 1 : 7);
  EXPECT_TRUE(code == 0 || (c.zip == 0 ? code == 22 : code == 27 || code == 28)) << code;
  const bool interrupted = c.error == EINTR && (hit == "read" || hit == "write");
  EXPECT_TRUE(code == 0 || !interrupted) << "it is repeated";
  EXPECT_TRUE(code != 0 || c.error == EINTR || hit != "fsync") << "the copy may be lost";
  const string got = store.folder.Read(c.put ? "root/out/f" : "work/out/f");
  const string old = c.old ? kOld : "";
  if (code == 0) {
    EXPECT_EQ(got, contents);
  } else if ((c.level > 0 && !c.linked) || code == 27) {
    EXPECT_TRUE(got == old || got == contents);
  } else if (code == 22 && !c.old && c.span == Faults::Span::kOne) {
    EXPECT_FALSE(store.folder.Exists(c.put ? "root/out/f" : "work/out/f"));
  }
  if (fs::exists(out)) RemoveParts(out);
  fs::remove_all(out);
  EXPECT_EQ(store.folder.Tree(), others);
  return !hit.empty();
}

TEST(DirectoryTransferFaults, ReturnsCodeAndLosesNothing) {
  // A transfer that is always interrupted would never end.
  const std::pair<int, Faults::Span> faults[] = {{EIO, Faults::Span::kOne},
                                                 {EINTR, Faults::Span::kOne},
                                                 {ENOSPC, Faults::Span::kOne},
                                                 {EPERM, Faults::Span::kFromThereOn}};
  for (int kind = 0; kind < 14; ++kind) {
    const int zip = kind % 2;
    const bool linked = kind >= 12;
    const int level = linked ? 2 : kind / 2 % 3;
    const bool old = kind >= 6;
    const string contents = Bytes(old || zip != 0 ? 5000 : 150000);
    SmallStore store(
        "ZipOnTransfert=" + std::to_string(zip) + "\nSafeOnTransfert=" + std::to_string(level) + "\n",
        TempFolder::Memory());
    store.folder.Write("root/in/f", contents);
    store.folder.Write("work/in/f", contents);
    for (const bool put : {false, true}) {
      for (const auto& [error, span] : faults) {
        int at = 1;
        while (RunWithFault(store, {put, zip, level, old, linked, error, span}, contents, at)) ++at;
        EXPECT_GT(at, kHasFaults ? 10 : 0);
      }
    }
  }
}

// The file is accessed by one name through two folders, or by two names.
TEST(DirectoryTransferFaults, ForcedTransferOntoItselfLosesNothing) {
  for (const int zip : {0, 1}) {
    SmallStore store("ZipOnTransfert=" + std::to_string(zip) + "\n");
    const string contents = Bytes(40000);
    store.folder.Write("root/f", contents);
    fs::create_hard_link(store.folder.Host("root/f"), store.folder.Host("root/hard"));
    ASSERT_EQ(store.Open("root/"), 0);
    for (const char* local : {"f", "hard"}) {
      int at = 0;
      do {
        const int code = WithFault(++at, EIO, [&] { return store.Get("f", local, 1); });
        EXPECT_TRUE(Faults::Hit() != nullptr || code == 0) << code;
        ASSERT_EQ(store.folder.Read("root/f"), contents) << at << local;
      } while (Faults::Hit() != nullptr);
    }
  }
}

TEST(DirectoryOpenFaults, ReturnsCodeOrConnects) {
  SmallStore store;
  store.opr.Close();
  for (const auto span : {Faults::Span::kOne, Faults::Span::kFromThereOn}) {
    int at = 0;
    do {
      const int code = WithFault(++at, EIO, span, [&] {
        const int opened = store.Open();
        EXPECT_EQ(store.opr.IsOpened(), opened == 0);
        store.opr.Close();
        return opened;
      });
      EXPECT_TRUE(code == 0 || code == 3 || code == 4 || code == 6) << code;
    } while (Faults::Hit() != nullptr);
  }
}

}  // namespace
