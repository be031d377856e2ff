#include "directory/small_store.h"
#include "support/tree.h"

namespace {

// Changes a tree by what is described; "-name" is a removal.
void Change(Tree& tree, const char* changes) {
  std::istringstream words(changes);
  for (string change; words >> change;) {
    if (change[0] == '-') {
      EXPECT_EQ(tree.erase(change.substr(1)), 1U) << change;
    } else {
      for (const auto& [name, what] : Described(change)) tree[name] = what;
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
  Create(folder, "root/", "f=rf d/a=rd/a d/b=rd/b arc/r=rarc/r empty/ remote=r");
  Create(folder, "work/", "f=wf d/a=wd/a d/b=wd/b arc/r=warc/r empty/ local=l");
}

TEST(ServerTree, ChangesTheStoreAndItsMirror) {
  const string l = "d/" + string(300, 'l');  // where a path has at most 260 bytes
  const std::tuple<string, int, const char*, const char*> rows[] = {
      {"make d/new", 0, "d/new/", "d/new/"},
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
      {"rename arc d\\arc", 0, "-arc -arc/r d/arc/r=rarc/r", "-arc -arc/r d/arc/r=warc/r"},
      {"rename d d/d", 20, "", ""},
      {"copy f d/a", 0, "d/a=rf", ""},
      {"copy d\\a /n//o/p", 0, "n/o/p=rd/a", ""},
      {"copy x n/y", 22, "n/", ""},
      {"copy f d", 22, "", ""},
      {"into arc\\r old", 0, "old/r=rarc/r", ""},
      {"into arc/r d/", 0, "d/r=rarc/r", ""},
      {"into d/a", 0, "a=rd/a", ""},
      {"into f d", 18, "", ""},  // a plain name
      {"tree d e", 0, "e/a=rd/a e/b=rd/b", ""},
      {"tree x e", 22, "", ""},
      {"tree d x/y", 0, "", ""},  // only one level is created
      {"make " + l, 25, "", ""},
      {"remove " + l, 23, "", ""},
      {"delete " + l, 20, "", ""},
      {"rename f " + l, 20, "", ""},
      {"rename " + l + " g", 20, "", ""},
      {"copy f " + l, 22, "", ""},
      {"copy " + l + " g", 22, "", ""},
      {"into d\\a " + l, 22, "", ""},
      {"tree d " + l, 22, "", ""},
      {"tree " + l + " g", 22, "", ""},
  };
  for (const auto& [command, code, in_root, in_work] : rows) {
    for (const bool dumb : {false, true}) {
      SmallStore store;
      Fill(store.folder);
      ASSERT_EQ(store.Open(dumb ? "root" : "work"), 0);
      Tree root = TreeOf(store.folder.Host("root"));
      Tree work = TreeOf(store.folder.Host("work"));
      EXPECT_EQ(Perform(store.opr, command), code) << command;
      Change(root, in_root);
      if (!dumb) Change(work, in_work);
      EXPECT_EQ(TreeOf(store.folder.Host("root")), root) << command;
      EXPECT_EQ(TreeOf(store.folder.Host("work")), work) << command << (dumb ? ", dumb" : "");
    }
  }
}

TEST(ServerTree, CopiesFromAndToAnyPlace) {
  SmallStore store;
  Fill(store.folder);
  store.folder.Write("outside/x", "x");
  const Tree before = TreeOf(store.folder.Host("work"));
  const auto path = [&](const string& name) { return Arg(store.folder.Logical(name)); };
  EXPECT_EQ(store.opr.CopyRemoteDir2LocalDir(Arg("/d"), path("outside/got"), nullptr, nullptr), 0);
  EXPECT_EQ(store.opr.CopyLocalDir2RemoteDir(path("outside"), Arg("d/put"), nullptr, nullptr), 0);
  EXPECT_EQ(store.opr.CopyLocalFile2RemoteFile(path("outside/x"), Arg("d/x")), 0);
  EXPECT_EQ(TreeOf(store.folder.Host("root/d")),
            Described("a=rd/a b=rd/b put/got/a=rd/a put/got/b=rd/b put/x=x x=x"));
  EXPECT_EQ(store.opr.CopyLocalFile2RemoteFile(path("outside/x"), Arg("none/x")), 22) << "makes no folder";
  for (const string& name : {string("none"), string(300, 'l')}) {
    EXPECT_EQ(store.opr.CopyRemoteDir2LocalDir(Arg(name), path("outside/n"), nullptr, nullptr), 22);
    EXPECT_EQ(store.opr.CopyLocalDir2RemoteDir(path(name), Arg("n"), nullptr, nullptr), 22);
    EXPECT_EQ(store.opr.CopyLocalFile2RemoteFile(path(name), Arg("n")), 22);
  }
  EXPECT_EQ(TreeOf(store.folder.Host("work")), before);
}

}  // namespace
