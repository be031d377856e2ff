
#include <tvlclient/tvl.h>

#include "directory/small_store.h"
#include "support/helper_process.h"
#include "support/scale.h"

namespace {

TEST(StoreValues, ReadsAndWritesOneKey) {
  SmallStore store("; remark\n[Environments]\nPlain=one\nEmpty=\nQuoted=' two '\n[other]\nName=no\n");
  const auto get = [&](const char* name) {
    CString value = "before";
    EXPECT_EQ(store.opr.GetEnviron(name, "default", value), 0);
    return string(value);
  };
  EXPECT_EQ(get("plain") + "|" + get("Empty") + "|" + get("Quoted") + "|" + get("Name"),
            "one|| two |default");
  for (const string& value : {string(""), string(" kept blanks "), string("'kept quotes'"), string("a=b;c"),
                              string("$Plain\xE0\xFF"), string(2047, 'v')}) {
    EXPECT_EQ(store.opr.PutEnviron("Name", value.c_str()), 0);
    EXPECT_EQ(get("Name"), value);
  }
  EXPECT_EQ(store.opr.PutEnviron("Name", string(5000, 'w').c_str()), 0);
  EXPECT_EQ(get("Name"), string(2047, 'w')) << "as much as a value holds";
  EXPECT_EQ(get("plain"), "one");
  EXPECT_NE(store.folder.Read("store.ini").find("[other]\nName=no\n"), string::npos);
}

TEST(StoreValues, NeedsAnOpenConnection) {
  CTVLClientSmbOpr fresh;
  SmallStore store;
  store.opr.Close();
  const string before = store.folder.Read("store.ini");
  for (CTVLClientSmbOpr* opr : {&fresh, &store.opr}) {
    CString value = "before";
    EXPECT_EQ(opr->GetEnviron("a", "b", value), 8);
    EXPECT_EQ(opr->PutEnviron("a", "b"), 8);
    EXPECT_STREQ(value.GetString(), "before");
  }
  EXPECT_EQ(store.folder.Read("store.ini"), before);
}

TEST(StoreValues, NullsDeleteOrAreEmptyTexts) {
  SmallStore store("[Environments]\nPlain=one\nB=2\n");
  CString value;
  TVLLastFileError(nullptr, 0);
  EXPECT_EQ(store.opr.PutEnviron("plain", nullptr), 0);
  EXPECT_EQ(TVLLastFileError(nullptr, 0), 0) << "how a caller learns that the write failed";
  EXPECT_EQ(store.opr.GetEnviron("Plain", nullptr, value), 0);
  EXPECT_STREQ(value.GetString(), "");
  EXPECT_EQ(store.opr.PutEnviron(nullptr, "x"), 0);
  EXPECT_EQ(store.opr.GetEnviron(nullptr, "d", value), 0);
  EXPECT_STREQ(value.GetString(), "d");
  string listed;
  const auto add = [](const char* name, const char* text, void* to) {
    static_cast<string*>(to)->append(name).append("=").append(text).append("|");
  };
  EXPECT_EQ(store.opr.PutEnviron("C", " 3 "), 0);
  EXPECT_EQ(store.opr.ListEnviron(add, &listed), 0);
  EXPECT_EQ(listed, "B=2|C= 3 |");
  fs::remove(store.folder.Host("store.ini"));
  store.folder.Make("store.ini");
  EXPECT_EQ(store.opr.PutEnviron("a", "b"), 0) << "a failed write";
}

// Puts the value that ExpectKeys expects.
int PutKey(CTVLClientSmbOpr& opr, const string& name) {
  return opr.PutEnviron(name.c_str(), ("value of " + name).c_str());
}

constexpr char kTail[] = "\r\n; the end";

// Arguments: configuration, working directory, prefix of the keys, their number.
const Role kRole("environments", [](const std::vector<string>& arguments) {
  CTVLClientSmbOpr opr;
  if (opr.Open(Arg(arguments[1]), Arg(arguments[0]), Arg("test")) != 0) return 1;
  Say("ready");
  Listen();
  for (int key = 0; key < std::stoi(arguments[3]); ++key) {
    if (PutKey(opr, arguments[2] + std::to_string(key)) != 0) return 2;
    if (key == 3) Say("some");
  }
  return 0;
});

class StoreValueProcesses : public testing::Test {
 protected:
  StoreValueProcesses() : store("[Environments]\r\nfirst=1\r\n[last]\r\nx=y" + string(kTail)) {
    prefix = store.folder.Read("store.ini");
    prefix.resize(prefix.find("[last]"));
  }

  HelperProcess Start(const char* name, int keys) {
    return HelperProcess({"environments", store.folder.Logical("store.ini"), store.folder.Logical("work"),
                          name, std::to_string(keys)});
  }

  // Expects a complete file, which begins and ends like the first one.
  void ExpectWhole() {
    const string now = store.folder.Read("store.ini");
    EXPECT_EQ(now.substr(0, prefix.size()), prefix);
    EXPECT_EQ(now.substr(now.size() - std::min(now.size(), sizeof kTail - 1)), kTail);
  }

  void ExpectKeys(const string& name, int keys) {
    for (int key = 0; key < keys; ++key) {
      const string wanted = name + std::to_string(key);
      CString value;
      store.opr.GetEnviron(wanted.c_str(), "lost", value);
      EXPECT_EQ(value.GetString(), "value of " + wanted);
    }
  }

  SmallStore store;
  string prefix;
};

TEST_F(StoreValueProcesses, TwoWritersLoseNothingAndReadersSeeWholeFiles) {
  const int keys = Rounds(60);
  HelperProcess one = Start("one", keys);
  HelperProcess two = Start("two", keys);
  ASSERT_EQ(one.Hear() + two.Hear(), "readyready");
  for (HelperProcess* helper : {&one, &two}) helper->Say("go");
  for (int own = 0; own < keys; ++own) {
    EXPECT_EQ(PutKey(store.opr, "own" + std::to_string(own)), 0);
    for (int look = 0; look < 20; ++look) ExpectWhole();
  }
  EXPECT_EQ(one.Wait(), 0);
  EXPECT_EQ(two.Wait(), 0);
  for (const char* name : {"one", "two", "own"}) ExpectKeys(name, keys);
  ExpectWhole();
}

TEST_F(StoreValueProcesses, KilledWriterDoesNotBlockOthers) {
  for (int round = 0; round < Rounds(20); ++round) {
    const string name = "r" + std::to_string(round) + "_";
    HelperProcess helper = Start(name.c_str(), 1000);
    ASSERT_EQ(helper.Hear(), "ready");
    helper.Say("go");
    ASSERT_EQ(helper.Hear(), "some");
    for (int own = 0; own < 4; ++own) EXPECT_EQ(PutKey(store.opr, "own" + name + std::to_string(own)), 0);
    helper.Signal(SIGKILL);
    EXPECT_EQ(helper.Wait(), -SIGKILL);
    EXPECT_EQ(PutKey(store.opr, "own" + name + "4"), 0);
    ExpectKeys(name, 4);
    ExpectKeys("own" + name, 5);
    ExpectWhole();
  }
}

}  // namespace
