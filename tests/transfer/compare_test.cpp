#include "transfer/compare.h"

#include <cstdint>
#include <optional>
#include <thread>

#include <tvlclient/tvl.h>

#include "platform/same_contents.h"
#include "support/faults.h"
#include "support/testing.h"

namespace {

using tvl::CompareContents;
using tvl::Contents;

// Differs from 1000 s above its low 32 bits, where a time has more.
constexpr auto kLater = static_cast<time_t>(sizeof(time_t) > 4 ? 1000 + (std::int64_t{1} << 32) : 2000);

TEST(Compare, AppliesEachPolicy) {
  const TempFolder folder;
  const std::tuple<const char*, const char*, timespec> files[] = {{"abc", "abc", {1000, 1}},
                                                                  {"same", "abc", {2000, 0}},
                                                                  {"other", "abd", {1000, 999999999}},
                                                                  {"long", "abcd", {1000, 0}},
                                                                  {"later", "abc", {kLater, 1}}};
  for (const auto& [name, bytes, time] : files) {
    folder.Write(name, bytes);
    folder.SetTimes(name, {}, time);
  }
  for (const char* name : {"dir", "dir2"}) {
    folder.Make(name);
    folder.SetTimes(name, {}, {1000, 0});
  }
  const std::tuple<const char*, const char*, int, int> cases[] = {
      {"abc", "abc", 1, 1},  {"abc", "same", 1, 0}, {"abc", "other", 0, 1}, {"abc", "later", 1, 0},
      {"abc", "long", 0, 0}, {"abc", "none", 0, 0}, {"none", "abc", 0, 0},  {"none", "none", 0, 0},
      {"abc", "dir", 0, 0},  {"dir", "dir2", 1, 1},  // neither can be read
  };
  for (const auto& [one, other, by_hash, by_time] : cases) {
    const string a = folder.Logical(one);
    const string b = folder.Logical(other);
    std::vector<int> equal;
    for (int policy = 0; policy < 4; ++policy) equal.push_back(FilesAreEqual(policy, a.c_str(), b.c_str()));
    EXPECT_EQ(equal, (std::vector{1, by_hash, by_time, by_time})) << one << other;
  }
}

TEST(Stamp, AppliesEachPolicyAndLastsUntilNextCall) {
  const TempFolder folder;
  folder.Write("abc", "abc");
  folder.Write("big", "");
  fs::resize_file(folder.Host("big"), 0x1ABCDEF01);
  folder.SetTimes("big", {}, {0x5F, 0});
  folder.SetTimes("abc", {}, {-1, 0});
  const string hash = "3|a9993e364706816aba3e25717850c26c9cd0d89d";
  const std::tuple<int, const char*, string> cases[] = {
      {1, "abc", hash},           {0, "abc", hash}, {3, "abc", hash}, {2, "abc", "3|ffffffff"},
      {2, "big", "1abcdef01|5f"}, {1, "none", "@"}, {2, "none", "@"}, {1, "", "0|"},
  };
  for (const auto& [policy, name, expected] : cases) {
    const char* stamp = FileStamp(policy, folder.Logical(name).c_str());
    std::thread([&] { FileStamp(2, folder.Logical("abc").c_str()); }).join();
    EXPECT_EQ(stamp, expected);
  }
  EXPECT_EQ(GetFileSignature(Arg(folder.Logical("abc"))), hash);
}

TEST(SameContents, ComparesEveryByte) {
  const TempFolder folder;
  const auto compare = [&](std::optional<std::uint64_t> known = {}) {
    const string a = folder.Logical("a");
    const string b = folder.Logical("b");
    return known ? CompareContents(a.c_str(), *known, b.c_str()) : CompareContents(a.c_str(), b.c_str());
  };
  for (const std::size_t size : {0, 1, 65535, 65536, 65537, 200000}) {
    const string bytes(size, 'x');
    folder.Write("a", bytes);
    folder.Write("b", bytes);
    EXPECT_EQ(compare(), Contents::kSame) << size;
    EXPECT_EQ(compare(size + 1), Contents::kDifferent) << size;
    folder.Write("b", bytes + "x");
    EXPECT_EQ(compare(), Contents::kDifferent) << size;
    for (std::size_t at = 0; at < size; at += at < 65535 ? 65535 : 1 + size / 3) {
      string other = bytes;
      other[at] = 'y';
      folder.Write("b", other);
      EXPECT_EQ(compare(), Contents::kDifferent) << size << " " << at;
    }
  }
}

// Such files report a size of 0.
TEST(SameContents, ReadsFilesOfUnknownSizeCompletely) {
  if (!fs::exists("/proc/version")) GTEST_SKIP() << "this system has no such files";
  const TempFolder folder;
  folder.Write("empty", "");
  EXPECT_EQ(CompareContents("\\proc\\version", "\\proc\\version"), Contents::kSame);
  EXPECT_EQ(CompareContents("\\proc\\version", "\\proc\\filesystems"), Contents::kDifferent);
  EXPECT_EQ(CompareContents("\\proc\\version", folder.Logical("empty").c_str()), Contents::kDifferent);
}

TEST(SameContents, IsUnknownIfFileIsUnreadable) {
  const TempFolder folder;
  folder.Write("a", "bytes");
  folder.Write("b", "bytes");
  const string a = folder.Logical("a");
  EXPECT_EQ(CompareContents(a.c_str(), folder.Logical("none").c_str()), Contents::kDifferent);
  EXPECT_EQ(CompareContents(folder.Logical("none").c_str(), a.c_str()), Contents::kDifferent);
  for (const string& other : {folder.Logical(), string(kNullDevice)}) {
    EXPECT_EQ(CompareContents(a.c_str(), other.c_str()), Contents::kUnknown) << other;
    EXPECT_EQ(CompareContents(other.c_str(), a.c_str()), Contents::kUnknown) << other;
  }
  // Makes status, opening and reading of either file fail.
  for (int call = 1; kHasFaults && call <= 8; ++call) {
    const Faults faults(call, EIO);
    EXPECT_EQ(CompareContents(a.c_str(), folder.Logical("b").c_str()), Contents::kUnknown)
        << call << Faults::Hit();
  }
}

}  // namespace
