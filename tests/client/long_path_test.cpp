#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <tvlclient/smb_opr.h>

#include "platform/host_path.h"
#include "support/arg.h"
#include "support/temp_folder.h"
#include "trees/snapshot.h"

namespace {

namespace fs = std::filesystem;
using std::string;

constexpr std::size_t kLongest = tvl::kMaxPath - 1;

// Folders around the length from which a search, a name of one byte, or the folder itself is out of reach.
TEST(LongPaths, TreesAreNeitherCopiedNorRemovedBeyondTheirReach) {
  for (std::size_t length = kLongest - 6; length < kLongest + 3; ++length) {
    SCOPED_TRACE(length);
    const TempFolder folder;
    CTVLClientSmbOpr opr;
    string deep = folder.Host();
    while (deep.size() + 101 < length) deep += "/" + string(99, 'd');
    deep += "/" + string(length - deep.size() - 1, 'e');
    fs::create_directories(deep);
    const string sibling = deep + "2";  // shares the beginning that a cut path would have
    fs::create_directory(sibling);
    std::ofstream(deep + "/x") << "x";
    std::ofstream(deep + "/longer name") << "y";
    const Snapshot before = SnapshotOf(deep);
    const bool reachable = length + sizeof "\\*.*" - 1 <= kLongest;
    opr.CopyDosDir(Arg(deep), Arg(folder.Logical("copy")), nullptr, nullptr);
    EXPECT_EQ(SnapshotOf(folder.Host("copy")), reachable ? (Snapshot{{"x", "file x"}}) : Snapshot());
    const int code = opr.RemoveDosDir(Arg(deep), nullptr, nullptr);
    EXPECT_TRUE(code == 23 || code == 24) << code;
    EXPECT_TRUE(fs::is_directory(sibling));
    EXPECT_EQ(SnapshotOf(deep).count("longer name"), 1U);
    EXPECT_TRUE(reachable || SnapshotOf(deep) == before);
    // As a target, the same folder takes what fits.
    folder.Write("source/x", "new");
    folder.Write("source/longer name", "new");
    opr.CopyDosDir(Arg(folder.Logical("source")), Arg(deep), nullptr, nullptr);
    EXPECT_EQ(SnapshotOf(deep)["longer name"], "file y");
    EXPECT_EQ(SnapshotOf(deep)["x"], length + 2 <= kLongest ? "file new" : "file x");
  }
}

TEST(LongPaths, FailWithTheirCode) {
  const TempFolder folder;
  folder.Write("f", "f");
  CTVLClientSmbOpr opr;
  const string endless = folder.Logical(string(5000, 'x'));
  const string file = folder.Logical("f");
  EXPECT_EQ(opr.CopyDosDir(Arg(endless), Arg(file), nullptr, nullptr), 22);
  EXPECT_EQ(opr.CopyDosDir(Arg(file), Arg(endless), nullptr, nullptr), 22);
  EXPECT_EQ(opr.RemoveDosDir(Arg(endless), nullptr, nullptr), 23);
  EXPECT_EQ(opr.SizeofDosDir(Arg(endless), nullptr, nullptr), 0.0);
  EXPECT_EQ(folder.Read("f"), "f");
}

// A tree copied into itself grows until its paths are too long, and the copying ends.
TEST(LongPaths, EndACopyIntoItself) {
  const TempFolder folder;
  folder.Write("t/f", "f");
  CTVLClientSmbOpr opr;
  EXPECT_EQ(opr.CopyDosDir(Arg(folder.Logical("t")), Arg(folder.Logical("t/t")), nullptr, nullptr), 0);
  EXPECT_EQ(folder.Read("t/f"), "f");
}

}  // namespace
