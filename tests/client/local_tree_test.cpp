#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <tvlclient/smb_opr.h>
#include <tvlclient/tvl.h>

#include "base/low_file.h"
#include "client/walk_recorder.h"
#include "support/arg.h"
#include "support/temp_folder.h"
#include "trees/snapshot.h"

namespace {

namespace fs = std::filesystem;
using std::string;
using Calls = std::vector<Told>;

class LocalTree : public testing::Test {
 protected:
  int Copy(const string& source, const string& target) {
    return opr.CopyDosDir(Arg(folder.Logical(source)), Arg(folder.Logical(target)), WalkRecorder::Callback,
                          &recorder);
  }
  int Remove(const string& path) {
    return opr.RemoveDosDir(Arg(folder.Logical(path)), WalkRecorder::Callback, &recorder);
  }
  double Size(const string& path) {
    return opr.SizeofDosDir(Arg(folder.Logical(path)), WalkRecorder::Callback, &recorder);
  }

  TempFolder folder;
  CTVLClientSmbOpr opr;  // not open: the walks need no store
  WalkRecorder recorder{folder};
};

TEST_F(LocalTree, TellsEachWalkInItsOrder) {
  folder.Write("t/sub/f", "12345");
  EXPECT_EQ(Size("t"), 5.0);
  EXPECT_EQ(recorder.Take(), (Calls{{"t", 0, true}, {"t/sub", 0, true}, {"t/sub/f", 5, true}}));
  EXPECT_EQ(Copy("t", "c"), 0);
  EXPECT_EQ(recorder.Take(), (Calls{{"t", 0, true}, {"t/sub", 0, true}, {"t/sub/f", 5, true}}));
  EXPECT_EQ(Remove("t"), 0);
  EXPECT_EQ(recorder.Take(), (Calls{{"t/sub/f", 5, false}, {"t/sub", 0, true}, {"t", 0, true}}));
  EXPECT_EQ(SnapshotOf(folder.Host()), (Snapshot{{"c", "dir"}, {"c/sub", "dir"}, {"c/sub/f", "file 12345"}}));
}

TEST_F(LocalTree, TellsOfSingleAndMissingPaths) {
  folder.Write("f", "123");
  const struct {
    const char* what;
    int code;
    Calls calls;
  } rows[] = {
      {"copy f g", 0, {{"f", 3, true}}},
      {"copy f none/g", 22, {{"f", 3, true}}},
      {"copy none g", 22, {{"none", 0, false}}},
      {"size f", 3, {{"f", 3, true}}},
      {"size none", 0, {}},
      {"size f\\", 0, {}},
      {"remove none", 0, {{"none", 0, false}}},
      {"remove f\\", 0, {{"f/", 0, false}}},  // a file's name with a separator behind it is nobody's
      {"remove g", 0, {{"g", 3, false}}},
  };
  for (const auto& row : rows) {
    std::stringstream words(row.what);
    string verb;
    string a;
    string b;
    words >> verb >> a >> b;
    const int code = verb == "copy" ? Copy(a, b) : verb == "size" ? static_cast<int>(Size(a)) : Remove(a);
    EXPECT_EQ(code, row.code) << row.what;
    EXPECT_EQ(recorder.Take(), row.calls) << row.what;
  }
  EXPECT_EQ(folder.Tree(), std::vector<string>{"f"});
}

TEST_F(LocalTree, CopyReplacesFilesAndGoesOnBehindFailures) {
  folder.Write("s/a", "new");
  folder.Write("s/folder_there/x", "x");
  folder.Write("s/file_there", "y");
  folder.Write("s/z/deep", "z");
  folder.Make("s/empty");
  folder.Write("t/a", "older and longer");
  folder.Write("t/folder_there", "stays");
  folder.Make("t/file_there");
  folder.Write("t/more", "m");
  EXPECT_EQ(Copy("s", "t"), 0);
  EXPECT_EQ(SnapshotOf(folder.Host("t")), (Snapshot{{"a", "file new"},
                                                    {"folder_there", "file stays"},
                                                    {"file_there", "dir"},
                                                    {"z", "dir"},
                                                    {"z/deep", "file z"},
                                                    {"empty", "dir"},
                                                    {"more", "file m"}}));
  EXPECT_EQ(Copy("s", "none/below"), 0) << "only one level is made, and nobody is told";
  EXPECT_FALSE(folder.Exists("none"));
}

TEST_F(LocalTree, RemoveStopsAtTheFirstFailure) {
  folder.Write("t/held", "h");
  const HANDLE held = LowOpen(folder.Logical("t/held").c_str(), kLowReadWrite);
  LowLock(held, 1, 0);
  EXPECT_EQ(Remove("t"), 23);
  EXPECT_EQ(recorder.Take(), (Calls{{"t/held", 1, true}}))
      << "told of the file, not of the folder that stays";
  LowLock(held, 0, 0);
  LowClose(held);
  // A name that no path can say is passed over, so its folder can't be emptied.
  folder.Write("t/sub/back\\slash", "");
  EXPECT_EQ(Remove("t"), 24);
  EXPECT_TRUE(folder.Exists("t/sub/back\\slash"));
}

TEST_F(LocalTree, SizesHave32BitsAFile) {
  for (const auto& [name, size] :
       {std::pair{"t/a", 3000000000ULL}, {"t/b", 5000000000ULL}, {"t/c/d", 2147483648ULL}}) {
    folder.Write(name, "");
    ASSERT_EQ(truncate(folder.Host(name).c_str(), static_cast<off_t>(size)), 0);
  }
  EXPECT_EQ(Size("t/a"), 3000000000.0);
  EXPECT_EQ(Size("t"), 3000000000.0 + (5000000000.0 - 4294967296.0) + 2147483648.0);
  EXPECT_EQ(Size("t\\"), Size("t"));
}

TEST_F(LocalTree, PumpsOnceAndBehindEachEntry) {
  for (const char* name : {"t/a", "t/b", "t/sub/c"}) folder.Write(name, "");
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
TEST_F(LocalTree, LinksAreCopiedThroughAndRemovedThemselves) {
  folder.Write("out/precious", "p");
  folder.Write("t/sub/f", "f");
  const auto link = [&](const char* target, const char* name) {
    fs::create_symlink(target, folder.Host(name));
  };
  link("..", "t/sub/up");
  link("../../t/sub", "t/sub/self");
  link("../out", "t/out");
  link("sub/f", "t/file");
  link("nowhere", "t/dangling");
  EXPECT_EQ(Copy("t", "c"), 0);
  EXPECT_EQ(SnapshotOf(folder.Host("c")), (Snapshot{{"file", "file f"},
                                                    {"out", "dir"},
                                                    {"out/precious", "file p"},
                                                    {"sub", "dir"},
                                                    {"sub/f", "file f"}}));
  EXPECT_EQ(Size("t"), 3.0);
  EXPECT_EQ(Remove("t/out\\"), 0) << "a separator behind a link makes no folder of it";
  EXPECT_FALSE(folder.Exists("t/out"));
  link("../out", "t/out");
  EXPECT_EQ(Remove("t"), 0);
  EXPECT_FALSE(folder.Exists("t"));
  EXPECT_EQ(folder.Read("out/precious"), "p");
}

TEST_F(LocalTree, TakesNamesOfAllKinds) {
  const std::vector<string> names = {" blank ",      "tail.",          ".dot", "..two", "...", "Case",
                                     "case",         "CASE",           "*",    "?",     "a|b", "new\nline",
                                     "\xE0\xFF\x80", string(220, 'n'), "-r",   "~",     "$(x)"};
  for (const string& name : names) {
    folder.Write("t/" + name, name);
    folder.Write("t/d" + name.substr(0, 200) + "/" + name.substr(0, 10), name);
  }
  EXPECT_EQ(Copy("t", "c"), 0);
  EXPECT_EQ(SnapshotOf(folder.Host("c")), SnapshotOf(folder.Host("t")));
  EXPECT_EQ(Remove("t"), 0);
  EXPECT_FALSE(folder.Exists("t"));
}

// Everything that two removers meet is gone sooner or later, and nobody fails for coming second.
TEST_F(LocalTree, AnEntryThatVanishesOnTheWayIsNoFailure) {
  for (const char* name : {"t/a/x", "t/b/x", "t/c/x"}) folder.Write(name, "");
  const auto take_all = [](char* /*path*/, unsigned int /*size*/, void* root) {
    for (const auto& entry : fs::directory_iterator(*static_cast<string*>(root)))
      fs::remove_all(entry.path());
  };
  string root = folder.Host("t");
  EXPECT_EQ(opr.RemoveDosDir(Arg(folder.Logical("t")), take_all, &root), 0);
  EXPECT_FALSE(folder.Exists("t"));
}

class WithWorkingDirectory : public CTVLClientSmbOpr {
 public:
  explicit WithWorkingDirectory(const string& path) {
    path.copy(workingDirectory, sizeof workingDirectory - 1);
  }
};

TEST_F(LocalTree, ListsTheWorkingDirectory) {
  for (const char* name : {"w/a.txt", "w/sub/b", "w/back\\slash"}) folder.Write(name, "");
  WithWorkingDirectory local(folder.Logical("w\\"));
  const struct {
    const char *directory, *pattern;
    int code, count;
    const char *list, *other;
  } rows[] = {
      {"", "*.*", 0, 2, "<a.txt|sub", "<sub|a.txt"},
      {"sub", "*", 0, 1, "<b", "<b"},
      {"/sub/", "B", 0, 1, "<b", "<b"},
      {"", "none", 0, 0, "<", "<"},
      {"none", "*.*", 21, -1, "<", "<"},
      {"a.txt", "*.*", 21, -1, "<", "<"},
  };
  for (const auto& row : rows) {
    int count = -1;
    CString list = "<";
    EXPECT_EQ(local.GetLocalDirContent(Arg(row.directory), Arg(row.pattern), &count, list), row.code)
        << row.directory;
    EXPECT_EQ(count, row.count) << row.directory;
    EXPECT_TRUE(list.GetString() == string(row.list) || list.GetString() == string(row.other))
        << list.GetString();
  }
}

}  // namespace
