#include "directory/small_store.h"
#include "transfer/sha1.h"

namespace {

TEST(DirectoryConnection, OpenSetsFields) {
  SmallStore store(
      "ZipOnTransfert=3\nFileCompare=time\nShortName=S\nLongName=A long name\n[Environments]\n"
      "UpdateDirectory=up/$ShortName\nVersionFile=v.txt\nShortName=var\n");
  CTVLClientSmbOpr& opr = store.opr;
  EXPECT_EQ(std::tuple(opr.IsOpened(), opr.DumbMode(), opr.ZipOnTransfert(), opr.FileCmp()),
            std::tuple(1, 0, 3, 2));
  EXPECT_EQ((std::vector<string>{opr.LongName(), opr.UpdateDir(), opr.VersionFile()}),
            (std::vector<string>{"A long name", "up\\var", "v.txt"}));
  EXPECT_EQ(opr.VersionNumber(nullptr, nullptr), 0U) << "the version file is missing";
  EXPECT_EQ(opr.WorkingDirectory(), store.folder.Logical("work/"));
  EXPECT_TRUE(store.folder.Exists("work"));
  char signature[kSignatureSize];
  Sha1OfString(("SMB-" + store.folder.Logical("root/")).c_str(), signature);
  EXPECT_STREQ(opr.ServerID(), signature);
  EXPECT_EQ(opr.Open(Arg("a"), Arg("b"), Arg("c"), 1, Arg("d"), Arg("e")), 1) << "not for servers";

  EXPECT_EQ(opr.Close(), 0);
  EXPECT_EQ(opr.Close(), 8);
  EXPECT_EQ((Codes{opr.IsOpened(), opr.ConfigCount()}), Codes(2));
  EXPECT_STREQ(opr.ShortName(), "S") << "what was settled stays";
  EXPECT_EQ(opr.ServerRoot(), store.folder.Logical("root/"));
  EXPECT_EQ(opr.DocumentRoot(), store.folder.Host("root"));
  store.folder.Write("root/v.txt", "@versione=02\n@build=004017\n");
  EXPECT_EQ(store.Get("v.txt"), 0) << "transfers do not ask whether it is open";

  EXPECT_EQ(store.Open(), 0);
  EXPECT_EQ(store.Open(), 0) << "a second opening replaces the first";
  unsigned int major = 9;
  int minor = 9;
  EXPECT_EQ(opr.VersionNumber(&major, &minor), 2004017U);
  EXPECT_EQ(std::tuple(major, minor), std::tuple(2U, 4017));
}

TEST(DirectoryConnection, FailedOpenClosesConnection) {
  SmallStore store("ZipOnTransfert=1\nFileCompare=dumb\nShortName=S\n");
  const string good = store.folder.Read("store.ini");
  for (const auto& [ini, code] : {std::pair{"", 3}, {"[Environments]\nDocumentRoot=/no/such/parent\n", 4}}) {
    store.folder.Write("store.ini", ini);
    EXPECT_EQ(store.Open(), code);
    EXPECT_EQ(store.opr.FileCmp(), 1);
    EXPECT_EQ((Codes{store.opr.ZipOnTransfert(), store.opr.InstanceId(), store.opr.IsOpened()}), Codes(3));
    EXPECT_STREQ(store.opr.ShortName(), "");
    EXPECT_EQ(store.opr.Close(), 8);
    store.folder.Write("store.ini", good);
    EXPECT_EQ(store.Open(), 0);
  }
}

TEST(DirectoryConnection, DumbModeRequiresEqualPaths) {
  for (const auto& [work, dumb] :
       {std::pair{"root", 1}, {"ROOT", 1}, {"./x/../root", 1}, {"root/", 0}, {"root/.", 1}, {"other", 0}}) {
    SmallStore store;
    EXPECT_EQ(store.Open(work), 0);
    EXPECT_EQ(store.opr.DumbMode(), dumb) << work;
    EXPECT_EQ(store.folder.Exists("ROOT"), kIgnoresCase);
    store.opr.Close();
    EXPECT_EQ(store.opr.DumbMode(), 0);
  }
}

TEST(DirectoryConnection, MakesPathsFullAndFillsInEmptyWorkingDirectory) {
  SmallStore store;
  for (const char* end : {"", "/", "//"}) {
    store.folder.Write("store.ini",
                       "[TavolisFileSystem]\nDocumentRoot=" + store.folder.Host("root") + end + "\n");
    char work[260] = "";
    EXPECT_EQ(store.opr.Open(work, Arg(store.folder.Logical("store.ini")), Arg("test")), 0);
    EXPECT_EQ(work, store.folder.Logical("root") + (*end == 0 ? "" : "\\"));
    EXPECT_EQ(store.opr.DumbMode(), 1);
    EXPECT_EQ(store.opr.WorkingDirectory(), store.folder.Logical("root/"));
  }
  const auto before = fs::current_path();
  fs::current_path(store.folder.Host());
  store.folder.Write("store.ini", "[TavolisFileSystem]\nDocumentRoot=root\n");
  EXPECT_EQ(store.opr.Open(Arg("work2"), Arg("store.ini"), Arg("test")), 0);
  fs::current_path(before);
  EXPECT_EQ(store.opr.WorkingDirectory(), store.folder.Logical("work2/"));
  EXPECT_EQ(store.opr.ServerRoot(), store.folder.Logical("root/"));
  EXPECT_STREQ(store.opr.DocumentRoot(), "root");
}

TEST(DirectoryConnection, CutsTextsToTheirFields) {
  const string longer(300, 'n');
  SmallStore store("ShortName=" + longer + "\nLongName=" + longer +
                   "\n[Environments]\nUpdateDirectory=" + longer + "\nVersionFile=" + longer + "\n");
  EXPECT_EQ(store.opr.ShortName(), longer.substr(0, 63));
  EXPECT_EQ(store.opr.LongName(), longer.substr(0, 255));
  EXPECT_EQ(std::strlen(store.opr.UpdateDir()), 259U);
  EXPECT_EQ(store.opr.VersionNumber(nullptr, nullptr), 0U);
}

TEST(DirectoryConnection, CopyStartsClosedAndOwnsNothing) {
  SmallStore store("FileCompare=time\n");
  store.folder.Write("root/f", "f");
  {
    CTVLClientSmbOpr copy(store.opr);
    EXPECT_EQ(copy.Close(), 8);
    EXPECT_EQ(copy.FileCmp(), 2);
    EXPECT_STREQ(copy.ServerID(), store.opr.ServerID());
    EXPECT_EQ(copy.ExistsRemote(Arg("f")), 0);
    store.opr = std::as_const(store.opr);
    EXPECT_EQ(store.opr.IsOpened(), 1) << "itself";
    EXPECT_EQ(
        copy.Open(Arg(store.folder.Logical("work")), Arg(store.folder.Logical("store.ini")), Arg("test")), 0);
    copy = store.opr;  // assignment closes an open connection
    EXPECT_EQ(copy.IsOpened(), 0);
  }
  EXPECT_EQ(store.opr.ExistsRemote(Arg("f")), 0);
  EXPECT_EQ(store.opr.Close(), 0);
}

TEST(DirectoryConnection, RefusesTooLongFolders) {
  SmallStore store;
  string deep = "d";
  while (store.folder.Host(deep).size() < 150) deep += "/" + string(60, 'd');
  for (const std::size_t length : {258U, 259U, 5000U}) {
    string work = store.folder.Logical(deep + "/");
    work.resize(length, 'w');
    store.folder.Make(deep);
    EXPECT_EQ(store.opr.Open(Arg(work), Arg(store.folder.Logical("store.ini")), Arg("test")),
              length < 259 ? 0 : 21)
        << length;
    EXPECT_EQ(store.opr.IsOpened(), length < 259);
    EXPECT_LE(std::strlen(store.opr.WorkingDirectory()), 259U);
  }
}

}  // namespace
