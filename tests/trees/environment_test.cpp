#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "directory/small_store.h"

namespace {

using std::string;

TEST(Environment, ReadsAndWritesOneKey) {
  SmallStore store("; remark\n[Environments]\nPlain=one\nEmpty=\nQuoted=' two '\n[other]\nName=no\n");
  const auto get = [&](const char* name) {
    CString value = "before";
    EXPECT_EQ(store.opr.GetEnviron(name, "default", value), 0);
    return string(value);
  };
  EXPECT_EQ(get("plain") + "|" + get("Empty") + "|" + get("Quoted") + "|" + get("Name"),
            "one|| two |default");
  for (const string& value : {string("new"), string(""), string(" kept blanks "), string("'kept quotes'"),
                              string("a=b;c"), string("$Plain"), string("\xE0\xFF"), string(2047, 'v')}) {
    EXPECT_EQ(store.opr.PutEnviron("Name", value.c_str()), 0);
    EXPECT_EQ(get("Name"), value);
  }
  EXPECT_EQ(store.opr.PutEnviron("Name", string(5000, 'w').c_str()), 0);
  EXPECT_EQ(get("Name"), string(2047, 'w')) << "as much as a value holds";
  EXPECT_EQ(get("plain"), "one");
  EXPECT_NE(store.folder.Read("store.ini").find("[other]\nName=no\n"), string::npos);
}

TEST(Environment, NeedsAnOpenConnectionWithAFile) {
  CTVLClientSmbOpr fresh;
  CString value = "before";
  EXPECT_EQ(fresh.GetEnviron("a", "b", value), 8);
  EXPECT_EQ(fresh.PutEnviron("a", "b"), 8);
  SmallStore store;
  store.opr.Close();
  const string before = store.folder.Read("store.ini");
  EXPECT_EQ(store.opr.GetEnviron("a", "b", value), 8);
  EXPECT_EQ(store.opr.PutEnviron("a", "b"), 8);
  EXPECT_STREQ(value.GetString(), "before");
  EXPECT_EQ(store.folder.Read("store.ini"), before);
}

TEST(Environment, AWriteThatFailsIsNotTold) {
  SmallStore store;
  std::filesystem::remove(store.folder.Host("store.ini"));
  store.folder.Make("store.ini");
  EXPECT_EQ(store.opr.PutEnviron("a", "b"), 0);
  CString value;
  EXPECT_EQ(store.opr.GetEnviron("a", "default", value), 0);
  EXPECT_STREQ(value.GetString(), "default");
}

}  // namespace
