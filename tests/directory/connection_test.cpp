#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <utility>

#include "directory/small_store.h"
#include "transfer/sha1.h"

namespace {

using std::string;

string Signature(const string& text) {
  char signature[kSignatureRoom];
  Sha1OfString(text.c_str(), signature);
  return signature;
}

TEST(Connection, IsEmptyBeforeItIsOpened) {
  CTVLClientSmbOpr opr;
  EXPECT_EQ(opr.IsOpened(), 0);
  EXPECT_EQ(opr.FileCmp(), 1);
  EXPECT_EQ(opr.DumbMode() + opr.ZipOnTransfert() + opr.InstanceId(), 0);
  for (const char* text : {opr.ComputerName(), opr.User(), opr.ShortName(), opr.LongName(), opr.ServerID(),
                           opr.VersionFile(), opr.UpdateDir(), opr.DocumentRoot()}) {
    EXPECT_STREQ(text, "");
  }
  EXPECT_EQ(opr.Close(), 8);
  EXPECT_EQ(opr.Open(Arg("a"), Arg("b"), Arg("c"), 1, Arg("d"), Arg("e")), 1);
}

TEST(Connection, OpenSettlesItsFields) {
  SmallStore store(
      "ZipOnTransfert=3\nFileCompare=time\nShortName=S\nLongName=A long name\n[Environments]\n"
      "UpdateDirectory=up/$ShortName\nVersionFile=version.txt\nShortName=var\n");
  CTVLClientSmbOpr& opr = store.opr;
  EXPECT_EQ(opr.IsOpened(), 1);
  EXPECT_EQ(opr.DumbMode(), 0);
  EXPECT_EQ(opr.ZipOnTransfert(), 3);
  EXPECT_EQ(opr.FileCmp(), 2);
  EXPECT_STREQ(opr.ShortName(), "S");
  EXPECT_STREQ(opr.LongName(), "A long name");
  EXPECT_STREQ(opr.UpdateDir(), "up\\var");
  EXPECT_STREQ(opr.VersionFile(), "version.txt");
  EXPECT_EQ(opr.VersionNumber(nullptr, nullptr), 0U) << "the version file is missing";
  EXPECT_EQ(opr.WorkingDirectory(), store.folder.Logical("work/"));
  EXPECT_EQ(opr.ServerRoot(), store.folder.Logical("root/"));
  EXPECT_EQ(opr.DocumentRoot(), store.folder.Host("root"));
  EXPECT_EQ(opr.ServerID(), Signature("SMB-" + store.folder.Logical("root/")));
  EXPECT_TRUE(store.folder.Exists("work"));
  EXPECT_EQ(opr.Open(Arg("a"), Arg("b"), Arg("c"), 1, Arg("d"), Arg("e")), 1);
  EXPECT_EQ(opr.IsOpened(), 1);
}

TEST(Connection, CloseKeepsWhatWasSettled) {
  SmallStore store("ShortName=S\n");
  CTVLClientSmbOpr& opr = store.opr;
  EXPECT_EQ(opr.Close(), 0);
  EXPECT_EQ(opr.Close(), 8);
  EXPECT_EQ(opr.IsOpened(), 0);
  EXPECT_STREQ(opr.ShortName(), "S");
  EXPECT_EQ(opr.ServerRoot(), store.folder.Logical("root/"));
  EXPECT_EQ(opr.DocumentRoot(), store.folder.Host("root"));
  EXPECT_EQ(opr.ConfigCount(), 0);
  store.folder.Write("root/f", "f");
  int transferred = 0;
  EXPECT_EQ(store.Get("f", &transferred), 0) << "transfers do not ask whether it is open";
  EXPECT_EQ(store.Open(), 0);
  EXPECT_EQ(store.Open(), 0) << "a second opening replaces the first";
  EXPECT_EQ(opr.IsOpened(), 1);
}

TEST(Connection, AFailedOpenClosesAnOpenOne) {
  SmallStore store("ZipOnTransfert=1\nFileCompare=dumb\n");
  const string good = store.folder.Read("store.ini");
  const struct {
    const char* ini;
    int code;
  } cases[] = {{"", 3}, {"[Environments]\nDocumentRoot=/no/such/parent\n", 4}};
  for (const auto& row : cases) {
    store.folder.Write("store.ini", row.ini);
    EXPECT_EQ(store.Open(), row.code);
    EXPECT_EQ(store.opr.IsOpened(), 0);
    EXPECT_EQ(store.opr.FileCmp(), 1);
    EXPECT_EQ(store.opr.ZipOnTransfert() + store.opr.InstanceId(), 0);
    EXPECT_STREQ(store.opr.ShortName(), "");
    EXPECT_EQ(store.opr.Close(), 8);
    store.folder.Write("store.ini", good);
    EXPECT_EQ(store.Open(), 0);
  }
}

TEST(Connection, DumbModeIsOneTextForBothFolders) {
  const struct {
    const char* work;
    int dumb;
  } cases[] = {{"root", 1}, {"ROOT", 1}, {"./x/../root", 1}, {"root/", 0}, {"root/.", 1}, {"other", 0}};
  for (const auto& row : cases) {
    SmallStore store;
    EXPECT_EQ(store.Open(row.work), 0);
    EXPECT_EQ(store.opr.DumbMode(), row.dumb) << row.work;
    EXPECT_FALSE(store.folder.Exists("ROOT"));
    store.opr.Close();
    EXPECT_EQ(store.opr.DumbMode(), 0);
  }
}

TEST(Connection, AnEmptyWorkingDirectoryIsFilledIn) {
  SmallStore store;
  for (const char* end : {"", "/", "//"}) {
    store.folder.Write("store.ini", "[TavolisFileSystem]\nDocumentRoot=" + store.folder.Host("root") + end +
                                        "\nTmpDir=" + store.folder.Host("tmp"));
    char work[260] = "";
    EXPECT_EQ(store.opr.Open(work, Arg(store.folder.Logical("store.ini")), Arg("test")), 0);
    EXPECT_EQ(work, store.folder.Logical("root") + (*end == 0 ? "" : "\\"));
    EXPECT_EQ(store.opr.DumbMode(), 1);
    EXPECT_EQ(store.opr.WorkingDirectory(), store.folder.Logical("root/"));
  }
}

TEST(Connection, RelativePathsAreMadeFull) {
  SmallStore store;
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(store.folder.Host());
  store.folder.Write("store.ini", "[TavolisFileSystem]\nDocumentRoot=root\n");
  EXPECT_EQ(store.opr.Open(Arg("work2"), Arg("store.ini"), Arg("test")), 0);
  std::filesystem::current_path(before);
  EXPECT_EQ(store.opr.WorkingDirectory(), store.folder.Logical("work2/"));
  EXPECT_EQ(store.opr.ServerRoot(), store.folder.Logical("root/"));
  EXPECT_STREQ(store.opr.DocumentRoot(), "root");
}

TEST(Connection, TheSignatureIsOfTheRootsExactText) {
  SmallStore store;
  const string one = store.opr.ServerID();
  std::filesystem::create_symlink("root", store.folder.Host("Root"));
  store.folder.Write("store.ini", "[TavolisFileSystem]\nDocumentRoot=" + store.folder.Host("Root") + "\n");
  EXPECT_EQ(store.Open(), 0);
  EXPECT_NE(one, store.opr.ServerID());
  EXPECT_EQ(one.size(), 40U);
}

TEST(Connection, TextsAreCutToTheirFields) {
  const string longer(300, 'n');
  SmallStore store("ShortName=" + longer + "\nLongName=" + longer +
                   "\n[Environments]\nUpdateDirectory=" + longer + "\nVersionFile=" + longer + "\n");
  EXPECT_EQ(store.opr.ShortName(), longer.substr(0, 63));
  EXPECT_EQ(store.opr.LongName(), longer.substr(0, 255));
  EXPECT_EQ(std::strlen(store.opr.UpdateDir()), 259U);
  EXPECT_EQ(store.opr.VersionNumber(nullptr, nullptr), 0U);
}

TEST(Connection, ACopyStartsClosedAndOwnsNothing) {
  SmallStore store("FileCompare=time\n");
  store.folder.Write("root/f", "f");
  {
    CTVLClientSmbOpr copy(store.opr);
    EXPECT_EQ(copy.IsOpened(), 0);
    EXPECT_EQ(copy.Close(), 8);
    EXPECT_EQ(copy.FileCmp(), 2);
    EXPECT_EQ(copy.ServerRoot(), string(store.opr.ServerRoot()));
    EXPECT_EQ(copy.ExistsRemote(Arg("f")), 0);
    CTVLClientSmbOpr third;
    third = copy;
    third = store.opr;
    CTVLClientSmbOpr& self = third;
    third = self;
    EXPECT_STREQ(third.ServerID(), store.opr.ServerID());
    store.opr = std::as_const(store.opr);
    EXPECT_EQ(store.opr.IsOpened(), 1) << "itself";
    EXPECT_EQ(
        copy.Open(Arg(store.folder.Logical("work")), Arg(store.folder.Logical("store.ini")), Arg("test")), 0);
    EXPECT_EQ(store.opr.IsOpened(), 1);
    copy = store.opr;  // an open one is closed by it
    EXPECT_EQ(copy.IsOpened(), 0);
  }
  EXPECT_EQ(store.opr.ExistsRemote(Arg("f")), 0);
  EXPECT_EQ(store.opr.Close(), 0);
}

TEST(Connection, VersionNumberHasTwoParts) {
  SmallStore store("[Environments]\nVersionFile=v.txt\n");
  store.folder.Write("root/v.txt", "@versione=02\n@build=004017\n");
  EXPECT_EQ(store.Open(), 0);
  unsigned int major = 9;
  int minor = 9;
  const unsigned int total = store.opr.VersionNumber(&major, &minor);
  EXPECT_EQ(total, major * 1000000 + static_cast<unsigned int>(minor));
  EXPECT_EQ(major, 2U);
  EXPECT_EQ(minor, 4017);
  EXPECT_EQ(store.opr.VersionNumber(nullptr, &minor), total);
}

}  // namespace
