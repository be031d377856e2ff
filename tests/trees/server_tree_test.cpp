#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

#include "directory/small_store.h"
#include "trees/snapshot.h"

namespace {

using std::string;

// Changes a tree: "name" for a folder, "name=contents" for a file, or "-name" for a removal.
void Change(Snapshot& snapshot, const char* changes) {
  std::stringstream words(changes);
  for (string change; words >> change;) {
    const std::size_t equals = change.find('=');
    if (change[0] == '-') {
      EXPECT_EQ(snapshot.erase(change.substr(1)), 1U) << change;
    } else {
      snapshot[change.substr(0, equals)] =
          equals == string::npos ? "dir" : "file " + change.substr(equals + 1);
    }
  }
}

int Perform(CTVLClientSmbOpr& opr, const string& command) {
  std::stringstream words(command);
  string verb, a, b;
  words >> verb >> a >> b;
  if (verb == "make") return opr.CreateServerDir(Arg(a));
  if (verb == "remove") return opr.DeleteServerDir(Arg(a));
  if (verb == "delete") return opr.DeleteServerFile(Arg(a));
  if (verb == "rename") return opr.RenameServerFile(Arg(a), Arg(b));
  if (verb == "tree") return opr.CopyServerDir2ServerDir(Arg(a), Arg(b), nullptr, nullptr);
  return opr.CopyServer2Server(Arg(a), Arg(b), verb == "into" ? 7 : 0);
}

void Fill(const TempFolder& folder) {
  for (const string base : {"root/", "work/"}) {
    for (const char* name : {"f", "d/a", "d/b", "arc/r"}) folder.Write(base + name, base[0] + string(name));
    folder.Make(base + "empty");
  }
  folder.Write("work/local", "l");
  folder.Write("root/remote", "r");
}

TEST(ServerTree, ChangesTheStoreAndItsMirror) {
  const struct {
    const char* command;
    int code;
    const char *root, *work;
  } rows[] = {
      {"make d/new", 0, "d/new", "d/new"},
      {"make x/y", 25, "", ""},
      {"make d", 25, "", ""},
      {"make remote/x", 25, "", ""},
      {"remove d", 0, "-d -d/a -d/b", "-d -d/a -d/b"},
      {"remove f", 0, "-f", "-f"},
      {"remove local", 0, "", "-local"},
      {"delete /d/a", 0, "-d/a", "-d/a"},
      {"delete local", 20, "", "-local"},
      {"delete empty", 20, "", ""},
      {"rename f d/g", 0, "-f d/g=rf", "-f d/g=wf"},
      {"rename remote r2", 0, "-remote r2=r", ""},
      {"rename local l2", 20, "", "-local l2=l"},
      {"rename f d\\a", 20, "", ""},
      {"rename arc d\\arc", 0, "-arc -arc/r d/arc d/arc/r=rarc/r", "-arc -arc/r d/arc d/arc/r=warc/r"},
      {"rename d d/d", 20, "", ""},
      {"copy f d/a", 0, "d/a=rf", ""},
      {"copy d\\a /n//o/p", 0, "n n/o n/o/p=rd/a", ""},
      {"copy x n/y", 22, "n", ""},
      {"copy f d", 22, "", ""},
      {"into arc\\r old", 0, "old old/r=rarc/r", ""},
      {"into arc/r d/", 0, "d/r=rarc/r", ""},
      {"into d/a", 0, "a=rd/a", ""},
      {"into f d", 18, "", ""},  // a plain name
      {"tree d e", 0, "e e/a=rd/a e/b=rd/b", ""},
      {"tree x e", 22, "", ""},
      {"tree d x/y", 0, "", ""},  // only one level is created
  };
  for (const auto& row : rows) {
    for (const bool dumb : {false, true}) {
      SmallStore store;
      Fill(store.folder);
      ASSERT_EQ(store.Open(dumb ? "root" : "work"), 0);
      Snapshot root = SnapshotOf(store.folder.Host("root"));
      Snapshot work = SnapshotOf(store.folder.Host("work"));
      EXPECT_EQ(Perform(store.opr, row.command), row.code) << row.command;
      Change(root, row.root);
      if (!dumb) Change(work, row.work);
      EXPECT_EQ(SnapshotOf(store.folder.Host("root")), root) << row.command;
      EXPECT_EQ(SnapshotOf(store.folder.Host("work")), work) << row.command << (dumb ? ", dumb" : "");
    }
  }
}

TEST(ServerTree, CopiesFromAndToAnyPlace) {
  SmallStore store;
  Fill(store.folder);
  store.folder.Write("outside/x", "x");
  const Snapshot before = SnapshotOf(store.folder.Host("work"));
  const auto path = [&](const char* name) { return Arg(store.folder.Logical(name)); };
  EXPECT_EQ(store.opr.CopyRemoteDir2LocalDir(Arg("/d"), path("outside/got"), nullptr, nullptr), 0);
  EXPECT_EQ(store.opr.CopyLocalDir2RemoteDir(path("outside"), Arg("d/put"), nullptr, nullptr), 0);
  EXPECT_EQ(store.opr.CopyLocalFile2RemoteFile(path("outside/x"), Arg("d/x")), 0);
  EXPECT_EQ(SnapshotOf(store.folder.Host("root/d")), (Snapshot{{"a", "file rd/a"},
                                                               {"b", "file rd/b"},
                                                               {"put", "dir"},
                                                               {"put/got", "dir"},
                                                               {"put/got/a", "file rd/a"},
                                                               {"put/got/b", "file rd/b"},
                                                               {"put/x", "file x"},
                                                               {"x", "file x"}}));
  EXPECT_EQ(store.opr.CopyLocalFile2RemoteFile(path("outside/x"), Arg("none/x")), 22) << "makes no folder";
  EXPECT_EQ(store.opr.CopyRemoteDir2LocalDir(Arg("none"), path("outside/n"), nullptr, nullptr), 22);
  EXPECT_EQ(store.opr.CopyLocalDir2RemoteDir(path("none"), Arg("n"), nullptr, nullptr), 22);
  EXPECT_EQ(SnapshotOf(store.folder.Host("work")), before);
}

// Uses names of 300 bytes, where a path has at most 260: each operation returns its code and changes nothing.
TEST(ServerTree, TooLongNamesFailWithTheirCode) {
  SmallStore store;
  Fill(store.folder);
  const Snapshot before = SnapshotOf(store.folder.Host());
  const string l = "d/" + string(300, 'l');
  const std::pair<string, int> rows[] = {
      {"make " + l, 25},          {"remove " + l, 23},      {"delete " + l, 20},      {"rename f " + l, 20},
      {"rename " + l + " g", 20}, {"copy f " + l, 22},      {"copy " + l + " g", 22}, {"into d\\a " + l, 22},
      {"tree d " + l, 22},        {"tree " + l + " g", 22},
  };
  CTVLClientSmbOpr& o = store.opr;
  for (const auto& [command, code] : rows) EXPECT_EQ(Perform(o, command), code) << command;
  EXPECT_EQ(o.CopyRemoteDir2LocalDir(Arg(l), Arg(store.folder.Logical("n")), nullptr, nullptr), 22);
  EXPECT_EQ(o.CopyLocalDir2RemoteDir(Arg(store.folder.Logical("root/d")), Arg(l), nullptr, nullptr), 22);
  EXPECT_EQ(o.CopyLocalFile2RemoteFile(Arg(store.folder.Logical("root/f")), Arg(l)), 22);
  EXPECT_EQ(o.CopyLocalFile2RemoteFile(Arg(store.folder.Logical(l)), Arg("g")), 22);
  EXPECT_EQ(SnapshotOf(store.folder.Host()), before);
}

}  // namespace
