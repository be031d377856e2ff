#include <tvlclient/smb_opr.h>
#include <tvlclient/tvl.h>

#include "base/low_file.h"
#include "platform/files.h"
#include "platform/host_path.h"
#include "support/tree.h"

namespace {

using Names = std::vector<string>;

class LocalTree : public testing::Test {
 protected:
  int Copy(const string& source, const string& target) {
    return opr.CopyDosDir(Arg(folder.Logical(source)), Arg(folder.Logical(target)), Note, this);
  }
  int Remove(const string& path) { return opr.RemoveDosDir(Arg(folder.Logical(path)), Note, this); }
  double Size(const string& path) { return opr.SizeofDosDir(Arg(folder.Logical(path)), Note, this); }

  // Records each path that a walk reports: its name, its size, and whether it was gone.
  static void Note(char* path, unsigned int size, void* test) {
    LocalTree& self = *static_cast<LocalTree*>(test);
    const bool gone = GetFileAttributesA(path) == INVALID_FILE_ATTRIBUTES;
    self.reported.push_back(string(path).substr(self.folder.Logical().size() + 1) + ":" +
                            std::to_string(size) + (gone ? " gone" : ""));
  }
  Names Reported() { return std::exchange(reported, {}); }

  TempFolder folder;
  CTVLClientSmbOpr opr;  // not open: the walks need no store
  Names reported;
};

TEST_F(LocalTree, ReportsEachWalkInOrder) {
  folder.Write("t/sub/f", "12345");
  EXPECT_EQ(Size("t"), 5.0);
  EXPECT_EQ(Reported(), (Names{"t:0", "t\\sub:0", "t\\sub\\f:5"}));
  EXPECT_EQ(Copy("t", "c"), 0);
  EXPECT_EQ(Reported(), (Names{"t:0", "t\\sub:0", "t\\sub\\f:5"}));
  EXPECT_EQ(Remove("t"), 0);
  EXPECT_EQ(Reported(), (Names{"t\\sub\\f:5 gone", "t\\sub:0", "t:0"}));
  EXPECT_EQ(TreeOf(folder.Host()), Described("c/sub/f=12345"));
}

TEST_F(LocalTree, ReportsSingleAndMissingPaths) {
  folder.Write("f", "123");
  EXPECT_EQ((Codes{Copy("f", "g"), Copy("f", "none/g"), Copy("none", "g")}), (Codes{0, 22, 22}));
  EXPECT_EQ(Reported(), (Names{"f:3", "f:3", "none:0 gone"}));
  EXPECT_EQ(Size("f") + Size("none") + Size("f\\"), 3.0);
  EXPECT_EQ(Reported(), Names{"f:3"});
  for (const char* name : {"none", "f\\", "g"}) EXPECT_EQ(Remove(name), 0);
  EXPECT_EQ(Reported(), (Names{"none:0 gone", "f\\:0 gone", "g:3 gone"}))
      << "a file name followed by a separator is invalid";
  EXPECT_EQ(folder.Tree(), Names{"f"});
}

TEST_F(LocalTree, CopyReplacesFilesAndContinuesAfterFailures) {
  Create(folder, "s/a=new s/folder_there/x=x s/file_there=y s/z/deep=z s/empty/");
  Create(folder, "t/a=older_and_longer t/folder_there=stays t/file_there/ t/more=m");
  EXPECT_EQ(Copy("s", "t"), 0);
  EXPECT_EQ(TreeOf(folder.Host("t")),
            Described("a=new folder_there=stays file_there/ z/deep=z empty/ more=m"));
  EXPECT_EQ(Copy("s", "none/below"), 0) << "only one level is created, and nothing is reported";
  EXPECT_FALSE(folder.Exists("none"));
}

TEST_F(LocalTree, RemovalStopsAtFirstFailure) {
  folder.Write("t/held", "h");
  const HANDLE held = LowOpen(folder.Logical("t/held").c_str(), kLowReadWrite);
  LowLock(held, 1, 0);
  EXPECT_EQ(Remove("t"), 23);
  EXPECT_EQ(Reported(), Names{"t\\held:1"}) << "reports the file, not the folder that remains";
  LowLock(held, 0, 0);
  LowClose(held);
  if (!kHasAllNames) return;
  // A name that no path can express is skipped, so its folder cannot be emptied.
  folder.Write("t/sub/back\\slash", "");
  EXPECT_EQ(Remove("t"), 24);
  EXPECT_TRUE(folder.Exists("t/sub/back\\slash"));
}

TEST_F(LocalTree, UsesLow32BitsOfEachSize) {
  for (const auto& [name, size] :
       {std::pair{"t/a", 3000000000ULL}, {"t/b", 5000000000ULL}, {"t/c/d", 2147483648ULL}}) {
    folder.Write(name, "");
    fs::resize_file(folder.Host(name), size);
  }
  EXPECT_EQ(Size("t/a"), 3000000000.0);
  EXPECT_EQ(Size("t"), 3000000000.0 + (5000000000.0 - 4294967296.0) + 2147483648.0);
  EXPECT_EQ(Size("t\\"), Size("t"));
}

TEST_F(LocalTree, PumpsOnceAndAfterEachEntry) {
  Create(folder, "t/a= t/b= t/sub/c=");
  int turns = 0;
  TVLSetPumpHook([](void* count) { ++*static_cast<int*>(count); }, &turns);
  constexpr int folders = (1 + 2 + 3) + (1 + 2 + 1);  // the dot names count
  Copy("t", "c");
  EXPECT_EQ(turns, folders);
  Size("t");
  EXPECT_EQ(turns, 2 * folders);
  Remove("t");
  EXPECT_EQ(turns, 3 * folders);
  TVLSetPumpHook(nullptr, nullptr);
}

// One link leads back, one out of the tree, one to a file, one nowhere.
TEST_F(LocalTree, CopyFollowsLinksAndRemovalDoesNot) {
  TVL_SKIP_WITHOUT_LINKS();
  Create(folder, "out/precious=p t/sub/f=f t/sub/up>.. t/sub/self>../../t/sub t/out>../out t/file>sub/f");
  Create(folder, "t/dangling>nowhere");
  EXPECT_EQ(Copy("t", "c"), 0);
  EXPECT_EQ(TreeOf(folder.Host("c")), Described("file=f out/precious=p sub/f=f"));
  EXPECT_EQ(Size("t"), 3.0);
  EXPECT_EQ(Remove("t/out\\"), 0) << "a separator after a link does not make it a folder";
  EXPECT_FALSE(folder.Exists("t/out"));
  Create(folder, "t/out>../out");
  EXPECT_EQ(Remove("t"), 0);
  EXPECT_FALSE(folder.Exists("t"));
  EXPECT_EQ(folder.Read("out/precious"), "p");
}

TEST_F(LocalTree, HandlesAllKindsOfNames) {
  if (!kHasAllNames) GTEST_SKIP() << "this system has no such names";
  for (const string& name : {string(" blank "), string("tail."), string(".dot"), string("..."),
                             string("Case"), string("case"), string("*"), string("a|b"), string("new\nline"),
                             string("\xE0\xFF\x80"), string(220, 'n'), string("$(x)")})
    folder.Write("t/" + name + "/" + name.substr(0, 10), name);
  EXPECT_EQ(Copy("t", "c"), 0);
  EXPECT_EQ(TreeOf(folder.Host("c")), TreeOf(folder.Host("t")));
  EXPECT_EQ(Remove("t"), 0);
  EXPECT_FALSE(folder.Exists("t"));
}

// Two concurrent removals delete everything, and neither fails because the other was faster.
TEST_F(LocalTree, VanishingEntryIsNotAFailure) {
  Create(folder, "t/a/x= t/b/x= t/c/x=");
  const auto take_all = [](char* /*path*/, unsigned int /*size*/, void* root) {
    std::error_code ignored;  // some systems keep the folder that a removal has reached
    for (const auto& entry : fs::directory_iterator(*static_cast<string*>(root)))
      fs::remove_all(entry.path(), ignored);
  };
  string root = folder.Host("t");
  EXPECT_EQ(opr.RemoveDosDir(Arg(folder.Logical("t")), take_all, &root), 0);
  EXPECT_FALSE(folder.Exists("t"));
}

// Folders whose paths are around the length at which a search, a name of one byte, or the folder itself
// becomes too long.
TEST_F(LocalTree, TooDeepTreesAreNeitherCopiedNorRemoved) {
  if (!kHasAllNames) GTEST_SKIP() << "this system has no such trees";
  constexpr std::size_t kLongest = tvl::kMaxPath - 1;
  for (std::size_t length = kLongest - 6; length < kLongest + 3; ++length) {
    SCOPED_TRACE(length);
    string deep = folder.Host();
    while (deep.size() + 101 < length) deep += "/" + string(99, 'd');
    deep += "/" + string(length - deep.size() - 1, 'e');
    fs::create_directories(deep);
    const string sibling = deep + "2";  // has the prefix that a cut path would have
    fs::create_directory(sibling);
    std::ofstream(deep + "/x") << "x";
    std::ofstream(deep + "/longer name") << "y";
    const Tree before = TreeOf(deep);
    const bool reachable = length + sizeof "\\*.*" - 1 <= kLongest;
    const string copy = folder.Host("copy" + std::to_string(length));
    opr.CopyDosDir(Arg(deep), Arg(copy), nullptr, nullptr);
    EXPECT_EQ(TreeOf(copy), Described(reachable ? "x=x" : ""));
    const int code = opr.RemoveDosDir(Arg(deep), nullptr, nullptr);
    EXPECT_TRUE(code == 23 || code == 24) << code;
    EXPECT_TRUE(fs::is_directory(sibling));
    EXPECT_EQ(TreeOf(deep).count("longer name"), 1U);
    EXPECT_TRUE(reachable || TreeOf(deep) == before);
    // As a target, the same folder gets everything that fits.
    for (const char* name : {"source/x", "source/longer name"}) folder.Write(name, "new");
    opr.CopyDosDir(Arg(folder.Logical("source")), Arg(deep), nullptr, nullptr);
    EXPECT_EQ(TreeOf(deep)["longer name"], "file y");
    EXPECT_EQ(TreeOf(deep)["x"], length + 2 <= kLongest ? "file new" : "file x");
  }
}

// A tree that is copied into itself grows until its paths are too long; then the copy ends.
TEST_F(LocalTree, CopyIntoItselfEnds) {
  folder.Write("t/f", "f");
  EXPECT_EQ(Copy("t", "t/t"), 0);
  EXPECT_EQ(folder.Read("t/f"), "f");
}

}  // namespace
