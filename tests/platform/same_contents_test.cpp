#include "platform/same_contents.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/faults.h"
#include "support/temp_folder.h"

namespace {

using std::string;
using tvl::CompareContents;
using tvl::Contents;

TEST(SameContents, SeesEveryByte) {
  const TempFolder folder;
  const auto compare = [&] {
    return CompareContents(folder.Logical("a").c_str(), folder.Logical("b").c_str());
  };
  for (const std::size_t size : {0, 1, 65535, 65536, 65537, 200000}) {
    const string bytes(size, 'x');
    folder.Write("a", bytes);
    folder.Write("b", bytes);
    EXPECT_EQ(compare(), Contents::kSame) << size;
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

// Such files say that they are empty.
TEST(SameContents, ReadsFilesThatKnowNoSizeToTheirEnd) {
  const TempFolder folder;
  folder.Write("empty", "");
  EXPECT_EQ(CompareContents("\\proc\\version", "\\proc\\version"), Contents::kSame);
  EXPECT_EQ(CompareContents("\\proc\\version", "\\proc\\filesystems"), Contents::kDifferent);
  EXPECT_EQ(CompareContents("\\proc\\version", folder.Logical("empty").c_str()), Contents::kDifferent);
}

TEST(SameContents, IsUnknownWhereAFileCannotBeRead) {
  const TempFolder folder;
  folder.Write("a", "bytes");
  folder.Write("b", "bytes");
  folder.Make("folder");
  const string a = folder.Logical("a");
  for (const string& other : {folder.Logical("none"), folder.Logical("folder"), string("\\dev\\null")}) {
    EXPECT_EQ(CompareContents(a.c_str(), other.c_str()), Contents::kUnknown) << other;
    EXPECT_EQ(CompareContents(other.c_str(), a.c_str()), Contents::kUnknown) << other;
  }
  // Opening, status and reading of either fails.
  for (int call = 1; call <= 6; ++call) {
    const Faults faults(call, EIO);
    EXPECT_EQ(CompareContents(a.c_str(), folder.Logical("b").c_str()), Contents::kUnknown)
        << call << Faults::Hit();
  }
  EXPECT_EQ(CompareContents(a.c_str(), folder.Logical("b").c_str()), Contents::kSame);
}

}  // namespace
