#include <cstdio>
#include <list>

#include "presence/clients.h"

namespace {

using Names = std::vector<string>;

class PresenceInstance : public StoreTest {
 protected:
  // Leaves only markers of others, and holds the live ones.
  void Leave(const Names& live, const Names& dead) {
    held_.clear();
    for (const string& former : store_.Markers()) fs::remove(store_.procs_host + former);
    for (const string& name : dead) folder_.Write("store/tmp/procs/" + name, "");
    for (const string& name : live) held_.emplace_back(store_.procs + name);
  }

  std::list<HeldMarker> held_;
};

TEST_F(PresenceInstance, NumbersGoDownToOneAndThenUp) {
  const auto mine = [](const char* number) { return string("pc12-7f000001-") + number + ".1a2c.mgrx.tvp"; };
  const std::tuple<Names, Names, int> cases[] = {
      {{}, {mine("001")}, 1},
      {{mine("002")}, {mine("001")}, 1},
      {{mine("001")}, {mine("002"), mine("009")}, 2},
      {{mine("003"), mine("004")}, {}, 2},
      {{mine("001"), mine("003")}, {}, 4},
      {{mine("1000"), mine("1001")}, {}, 999},
      {{mine("001"), mine("1200")}, {}, 1201},
      {{mine("001"), mine("002"), mine("9999")}, {}, 3},
      // Names that do not count: other computers, addresses and classes, and names that are not markers.
      {{"pc13-7f000001-001.1.mgrx.tvp", "pc12-7f000002-001.1.mgrx.tvp", "pc12-7f000001-001.1.mgry.tvp"},
       {},
       1},
      {{"pc12-7f000001-001.1.mgrxx.tvp", "pc12-7f000001-001.1.mgr.tvp", "pc12-7f000001-001.mgrx.tvp"}, {}, 1},
      {{mine("2147483647"), mine("99999999999")}, {}, 1},
  };
  for (const auto& [live, dead, instance] : cases) {
    SCOPED_TRACE(testing::PrintToString(live));
    Leave(live, dead);
    Me me(store_);
    EXPECT_EQ(me.instance, instance);
    EXPECT_EQ(me.AllocateInstance(), instance) << "once";
    char name[64];
    std::snprintf(name, sizeof name, "pc12-7f000001-%03d.%x.mgrx.tvp", instance, me.pid);
    Names left = live;
    left.emplace_back(name);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(store_.Markers(), left) << "the dead are gone, the own marker is there";
    EXPECT_EQ(me.markerPath, store_.procs + name);
    for (int again = 0; again < 2; ++again) {
      me.Unregister();
      EXPECT_EQ(me.instance, instance);
      EXPECT_STREQ(me.markerPath, "");
      EXPECT_EQ(store_.Markers().size(), live.size());
    }
  }
}

TEST_F(PresenceInstance, LocksNothingWithoutFreeNumber) {
  if (!kClosesLockedFiles)
    GTEST_SKIP() << "Wine keeps each open of a file until nobody has locked it any more";
  Leave({"pc12-7f000001-001.1.mgrx.tvp"}, {});
  for (int number = 2; number <= 9999; ++number) {
    char name[64];
    std::snprintf(name, sizeof name, "pc12-7f000001-%03d.1.mgrx.tvp", number);
    fs::create_hard_link(store_.procs_host + "pc12-7f000001-001.1.mgrx.tvp", store_.procs_host + name);
  }
  Me me(store_);
  EXPECT_EQ(me.instance, 0);
  EXPECT_EQ(me.AllocateInstance(), 0);
  EXPECT_FALSE(me.IsPresent());
  EXPECT_EQ(me.Lock("A"), 0);
  Me other(store_, "view");
  ASSERT_EQ(other.Lock("A"), 1);
  EXPECT_EQ(me.Lock("A"), 2);
}

TEST_F(PresenceInstance, RemovesUnfinishedMarkersOfDeadProcesses) {
  Leave({".1.0.new"}, {".2.0.new"});
  const Me me(store_);
  EXPECT_EQ(store_.Markers().size(), 2U);
  EXPECT_EQ(store_.Markers().at(0), ".1.0.new") << "its owner is about to rename it";
}

TEST(PresenceIdentity, DefaultsComeFromSystem) {
  const std::tuple<const char*, const char*, string> cases[] = {
      {"mgrx", "192.168.0.1", "mgrx c0a80001"}, {"ab", "10.0.0", "abxx 00000000"},
      {"abcdef", "1.2.3.4.5", "abcd 00000000"}, {"", nullptr, "xxxx 7f000001"},
      {"a/b\\", nullptr, "a_b_ 7f000001"},      {" a\t ", nullptr, " a\t  7f000001"},
  };
  for (const auto& [client_class, address, expected] : cases) {
    const CConnection me("", "", client_class, "PC-Twelve", address, "Ann");
    EXPECT_EQ(string(me.className) + ' ' + me.ipText, expected);
    EXPECT_EQ(string(me.computer) + ' ' + me.user, "PC-Twelve Ann") << "unchanged";
    EXPECT_EQ(me.pid, static_cast<unsigned int>(getpid()));
  }
  const string name = HostName();
  string computer = name.substr(0, std::min(name.find('.'), std::size_t{15}));
  for (char& letter : computer) letter = static_cast<char>(tolower(letter));
  const CConnection me("", "", "mgrx");
  EXPECT_EQ(me.computer, computer);
  EXPECT_STRNE(me.user, "");
}

TEST_F(PresenceInstance, ListsOtherLiveInstancesOfClass) {
  const std::tuple<const char*, Names, string> cases[] = {
      {"mgrx", {"b-7f000001-001.2.mgrx.tvp"}, "a-7f000001-001.1.mgrx.tvp|"},
      {"*", {"b-7f000001-001.2.view.tvp"}, "a-7f000001-001.1.mgrx.tvp|"},
      {"mgr", {}, ""},
      {"../x", {}, ""},
  };
  for (const auto& [client_class, dead, expected] : cases) {
    SCOPED_TRACE(client_class);
    Leave({"a-7f000001-001.1.mgrx.tvp"}, dead);
    Me me(store_);
    int count = -1;
    CString list("old");
    EXPECT_EQ(me.GetProcessesList(Arg(client_class), count, list), 0);
    EXPECT_STREQ(list, expected.c_str());
    EXPECT_EQ(count, expected.empty() ? 0 : 1);
    EXPECT_EQ(store_.Markers().size(), 2U) << "the dead are gone";
  }
}

}  // namespace
