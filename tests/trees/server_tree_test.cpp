#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "directory/small_store.h"
#include "trees/snapshot.h"

namespace {

namespace fs = std::filesystem;
using std::string;

// One operation on a store, after which both trees must be as told; "-" in front of a name takes it away.
struct Row {
  const char* what;
  int (*run)(CTVLClientSmbOpr& opr);
  int code;
  std::vector<const char*> root;  // changes of the store, as "name" for a folder or "name=contents"
  std::vector<const char*> work;
};

void Change(Snapshot& snapshot, const std::vector<const char*>& changes) {
  for (const string change : changes) {
    const std::size_t equals = change.find('=');
    if (change[0] == '-') {
      EXPECT_EQ(snapshot.erase(change.substr(1)), 1U) << change;
    } else {
      snapshot[change.substr(0, equals)] =
          equals == string::npos ? "dir" : "file " + change.substr(equals + 1);
    }
  }
}

class ServerTree : public testing::TestWithParam<const char*> {
 protected:
  static void Fill(const TempFolder& folder) {
    for (const char* side : {"root/", "work/"}) {
      const string base = side;
      for (const char* name : {"f", "d/a", "d/b", "arc/report.txt"})
        folder.Write(base + name, base[0] + string(name));
      folder.Make(base + "empty");
    }
    folder.Write("work/local", "l");
    folder.Write("root/remote", "r");
  }
};

const Row kRows[] = {
    {"make", [](CTVLClientSmbOpr& o) { return o.CreateServerDir(Arg("d/new")); }, 0, {"d/new"}, {"d/new"}},
    {"make two levels", [](CTVLClientSmbOpr& o) { return o.CreateServerDir(Arg("x/y")); }, 25, {}, {}},
    {"make what is there", [](CTVLClientSmbOpr& o) { return o.CreateServerDir(Arg("d")); }, 25, {}, {}},
    {"make below a file", [](CTVLClientSmbOpr& o) { return o.CreateServerDir(Arg("remote/x")); }, 25, {}, {}},
    {"remove a tree",
     [](CTVLClientSmbOpr& o) { return o.DeleteServerDir(Arg("d")); },
     0,
     {"-d", "-d/a", "-d/b"},
     {"-d", "-d/a", "-d/b"}},
    {"remove a file as a tree",
     [](CTVLClientSmbOpr& o) { return o.DeleteServerDir(Arg("f")); },
     0,
     {"-f"},
     {"-f"}},
    {"remove what only the mirror has",
     [](CTVLClientSmbOpr& o) { return o.DeleteServerDir(Arg("local")); },
     0,
     {},
     {"-local"}},
    {"delete", [](CTVLClientSmbOpr& o) { return o.DeleteServerFile(Arg("/d/a")); }, 0, {"-d/a"}, {"-d/a"}},
    {"delete what only the mirror has",
     [](CTVLClientSmbOpr& o) { return o.DeleteServerFile(Arg("local")); },
     20,
     {},
     {"-local"}},
    {"delete a folder", [](CTVLClientSmbOpr& o) { return o.DeleteServerFile(Arg("empty")); }, 20, {}, {}},
    {"rename",
     [](CTVLClientSmbOpr& o) { return o.RenameServerFile(Arg("f"), Arg("d/g")); },
     0,
     {"-f", "d/g=rf"},
     {"-f", "d/g=wf"}},
    {"rename without a mirror",
     [](CTVLClientSmbOpr& o) { return o.RenameServerFile(Arg("remote"), Arg("r2")); },
     0,
     {"-remote", "r2=r"},
     {}},
    {"rename what only the mirror has",
     [](CTVLClientSmbOpr& o) { return o.RenameServerFile(Arg("local"), Arg("l2")); },
     20,
     {},
     {"-local", "l2=l"}},
    {"rename onto a file",
     [](CTVLClientSmbOpr& o) { return o.RenameServerFile(Arg("f"), Arg("d\\a")); },
     20,
     {},
     {}},
    {"rename a folder",
     [](CTVLClientSmbOpr& o) { return o.RenameServerFile(Arg("arc"), Arg("d\\arc")); },
     0,
     {"-arc", "-arc/report.txt", "d/arc", "d/arc/report.txt=rarc/report.txt"},
     {"-arc", "-arc/report.txt", "d/arc", "d/arc/report.txt=warc/report.txt"}},
    {"rename a folder into itself",
     [](CTVLClientSmbOpr& o) { return o.RenameServerFile(Arg("d"), Arg("d/d")); },
     20,
     {},
     {}},
    {"copy over",
     [](CTVLClientSmbOpr& o) { return o.CopyServer2Server(Arg("f"), Arg("d/a"), 0); },
     0,
     {"d/a=rf"},
     {}},
    {"copy and make folders",
     [](CTVLClientSmbOpr& o) { return o.CopyServer2Server(Arg("d\\a"), Arg("/n//o/p"), 0); },
     0,
     {"n", "n/o", "n/o/p=rd/a"},
     {}},
    {"copy into a folder",
     [](CTVLClientSmbOpr& o) { return o.CopyServer2Server(Arg("arc\\report.txt"), Arg("old"), 1); },
     0,
     {"old", "old/report.txt=rarc/report.txt"},
     {}},
    {"copy into a folder, other slashes",
     [](CTVLClientSmbOpr& o) { return o.CopyServer2Server(Arg("arc/report.txt"), Arg("d/"), 7); },
     0,
     {"d/report.txt=rarc/report.txt"},
     {}},
    {"copy into the top",
     [](CTVLClientSmbOpr& o) { return o.CopyServer2Server(Arg("d/a"), Arg(""), 1); },
     0,
     {"a=rd/a"},
     {}},
    {"copy a bare name into a folder",
     [](CTVLClientSmbOpr& o) { return o.CopyServer2Server(Arg("f"), Arg("d"), 1); },
     18,
     {},
     {}},
    {"copy what is missing",
     [](CTVLClientSmbOpr& o) { return o.CopyServer2Server(Arg("x"), Arg("n/y"), 0); },
     22,
     {"n"},
     {}},
    {"copy onto a folder",
     [](CTVLClientSmbOpr& o) { return o.CopyServer2Server(Arg("f"), Arg("d"), 0); },
     22,
     {},
     {}},
    {"copy a tree",
     [](CTVLClientSmbOpr& o) { return o.CopyServerDir2ServerDir(Arg("d"), Arg("e"), nullptr, nullptr); },
     0,
     {"e", "e/a=rd/a", "e/b=rd/b"},
     {}},
    {"copy a missing tree",
     [](CTVLClientSmbOpr& o) { return o.CopyServerDir2ServerDir(Arg("x"), Arg("e"), nullptr, nullptr); },
     22,
     {},
     {}},
    {"copy a tree below nothing",
     [](CTVLClientSmbOpr& o) { return o.CopyServerDir2ServerDir(Arg("d"), Arg("x/y"), nullptr, nullptr); },
     0,
     {},
     {}},
};

TEST_F(ServerTree, ChangesTheStoreAndItsMirror) {
  for (const bool dumb : {false, true}) {
    for (const Row& row : kRows) {
      SmallStore store;
      Fill(store.folder);
      if (dumb) {
        store.opr.Close();
        ASSERT_EQ(store.Open("root"), 0);
      }
      Snapshot root = SnapshotOf(store.folder.Host("root"));
      Snapshot work = SnapshotOf(store.folder.Host("work"));
      EXPECT_EQ(row.run(store.opr), row.code) << row.what;
      Change(root, row.root);
      if (!dumb) Change(work, row.work);
      EXPECT_EQ(SnapshotOf(store.folder.Host("root")), root) << row.what;
      EXPECT_EQ(SnapshotOf(store.folder.Host("work")), work) << row.what << (dumb ? ", dumb" : "");
    }
  }
}

TEST_F(ServerTree, CopiesFromAndToAnyPlace) {
  SmallStore store;
  Fill(store.folder);
  store.folder.Write("outside/x", "x");
  const auto path = [&](const char* name) { return Arg(store.folder.Logical(name)); };
  EXPECT_EQ(store.opr.CopyRemoteDir2LocalDir(Arg("/d"), path("outside/got"), nullptr, nullptr), 0);
  EXPECT_EQ(store.folder.Tree("outside/got"), (std::vector<string>{"a", "b"}));
  EXPECT_EQ(store.opr.CopyLocalDir2RemoteDir(path("outside"), Arg("d/put"), nullptr, nullptr), 0);
  EXPECT_EQ(store.folder.Read("root/d/put/got/a"), "rd/a");
  EXPECT_EQ(store.opr.CopyLocalFile2RemoteFile(path("outside/x"), Arg("d/x")), 0);
  EXPECT_EQ(store.folder.Read("root/d/x"), "x");
  EXPECT_EQ(store.opr.CopyLocalFile2RemoteFile(path("outside/x"), Arg("none/x")), 22) << "makes no folder";
  EXPECT_EQ(store.opr.CopyRemoteDir2LocalDir(Arg("none"), path("outside/n"), nullptr, nullptr), 22);
  EXPECT_EQ(store.opr.CopyLocalDir2RemoteDir(path("none"), Arg("n"), nullptr, nullptr), 22);
  EXPECT_EQ(store.folder.Tree("work"),
            (std::vector<string>{"arc", "arc/report.txt", "d", "d/a", "d/b", "empty", "f", "local"}));
}

// In place of the 260 bytes of a path any name has 300: each operation has its code, nothing is touched.
TEST_F(ServerTree, NamesThatDoNotFitFailWithTheirCode) {
  SmallStore store;
  Fill(store.folder);
  const Snapshot before = SnapshotOf(store.folder.Host());
  const string l = "d/" + string(300, 'l');
  CTVLClientSmbOpr& o = store.opr;
  int count = 0;
  CString list;
  const struct {
    const char* what;
    int code, expected;
  } rows[] = {
      {"list", o.GetRemoteDirContent(Arg(l), Arg("*"), &count, list), 20},
      {"list with a pattern", o.GetRemoteDirContent(Arg("d"), Arg(l), &count, list), 20},
      {"make", o.CreateServerDir(Arg(l)), 25},
      {"remove", o.DeleteServerDir(Arg(l)), 23},
      {"delete", o.DeleteServerFile(Arg(l)), 20},
      {"rename from", o.RenameServerFile(Arg(l), Arg("g")), 20},
      {"rename to", o.RenameServerFile(Arg("f"), Arg(l)), 20},
      {"copy from", o.CopyServer2Server(Arg(l), Arg("g"), 0), 22},
      {"copy to", o.CopyServer2Server(Arg("f"), Arg(l), 0), 22},
      {"copy into", o.CopyServer2Server(Arg("d\\a"), Arg(l), 1), 22},
      {"tree from", o.CopyServerDir2ServerDir(Arg(l), Arg("g"), nullptr, nullptr), 22},
      {"tree to", o.CopyServerDir2ServerDir(Arg("d"), Arg(l), nullptr, nullptr), 22},
      {"fetch", o.CopyRemoteDir2LocalDir(Arg(l), Arg(store.folder.Logical("n")), nullptr, nullptr), 22},
      {"store", o.CopyLocalDir2RemoteDir(Arg(store.folder.Logical("root/d")), Arg(l), nullptr, nullptr), 22},
      {"store a file", o.CopyLocalFile2RemoteFile(Arg(store.folder.Logical("root/f")), Arg(l)), 22},
      {"store a file from", o.CopyLocalFile2RemoteFile(Arg(store.folder.Logical(l)), Arg("g")), 22},
  };
  for (const auto& row : rows) EXPECT_EQ(row.code, row.expected) << row.what;
  EXPECT_EQ(SnapshotOf(store.folder.Host()), before);
}

}  // namespace
