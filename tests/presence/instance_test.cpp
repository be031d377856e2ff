#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "base/low_file.h"
#include "presence/connection.h"
#include "support/store.h"
#include "support/temp_folder.h"

namespace {

using Names = std::vector<std::string>;

// A marker that is held like that of a live instance.
struct HeldMarker : tvl::LowFile {
  explicit HeldMarker(const std::string& path) : LowFile(path.c_str(), kLowRewrite) {
    LowLock(Handle(), 1, 0);
  }
  HeldMarker(const HeldMarker&) = delete;
  HeldMarker& operator=(const HeldMarker&) = delete;
  ~HeldMarker() { LowLock(Handle(), 0, 0); }
};

class PresenceInstance : public testing::Test {
 protected:
  void SetUp() override { store_.Make(); }

  // Leaves only markers of others, and holds the live ones.
  void Leave(const Names& live, const Names& dead) {
    held_.clear();
    for (const std::string& former : store_.Markers()) std::filesystem::remove(store_.procsHost + former);
    for (const std::string& name : dead) folder_.Write("store/tmp/procs/" + name, "");
    for (const std::string& name : live) held_.emplace_back(store_.procs + name);
  }

  TempFolder folder_;
  Store store_{folder_.Host()};
  std::list<HeldMarker> held_;
};

TEST_F(PresenceInstance, NumbersGoDownToOneAndThenUp) {
  const auto mine = [](const char* number) {
    return std::string("pc12-7f000001-") + number + ".1a2c.mgrx.tvp";
  };
  const struct {
    Names live;
    Names dead;
    int instance;
  } cases[] = {
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
  for (const auto& test : cases) {
    SCOPED_TRACE(testing::PrintToString(test.live));
    Leave(test.live, test.dead);
    CConnection me(store_.locks.c_str(), store_.procs.c_str(), "mgrx", "pc12", "127.0.0.1", "ann");
    for (const int again : {1, 2}) EXPECT_EQ(me.AllocateInstance(), test.instance) << again;
    char name[64];
    std::snprintf(name, sizeof name, "pc12-7f000001-%03d.%x.mgrx.tvp", test.instance, me.pid);
    Names left = test.live;
    left.emplace_back(name);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(store_.Markers(), left) << "the dead are gone, the own marker is there";
    EXPECT_EQ(me.markerPath, store_.procs + name);
    for (int again = 0; again < 2; ++again) {
      me.Unregister();
      EXPECT_EQ(me.instance, test.instance);
      EXPECT_STREQ(me.markerPath, "");
      EXPECT_EQ(store_.Markers().size(), test.live.size());
    }
  }
}

TEST_F(PresenceInstance, LocksNothingWithoutFreeNumber) {
  Leave({"pc12-7f000001-001.1.mgrx.tvp"}, {});
  for (int number = 2; number <= 9999; ++number) {
    char name[64];
    std::snprintf(name, sizeof name, "pc12-7f000001-%03d.1.mgrx.tvp", number);
    std::filesystem::create_hard_link(store_.procsHost + "pc12-7f000001-001.1.mgrx.tvp",
                                      store_.procsHost + name);
  }
  CConnection me(store_.locks.c_str(), store_.procs.c_str(), "mgrx", "pc12");
  EXPECT_EQ(me.AllocateInstance() + me.AllocateInstance(), 0);
  EXPECT_FALSE(me.IsPresent());
  EXPECT_EQ(me.Lock("A"), 0);
  CConnection other(store_.locks.c_str(), store_.procs.c_str(), "view", "pc12");
  other.AllocateInstance();
  ASSERT_EQ(other.Lock("A"), 1);
  EXPECT_EQ(me.Lock("A"), 2);
}

TEST_F(PresenceInstance, RemovesUnfinishedMarkersOfDeadProcesses) {
  Leave({".1.0.new"}, {".2.0.new"});
  CConnection me(store_.locks.c_str(), store_.procs.c_str(), "mgrx");
  me.AllocateInstance();
  EXPECT_EQ(store_.Markers().size(), 2U);
  EXPECT_EQ(store_.Markers().at(0), ".1.0.new") << "its owner is about to rename it";
}

TEST(PresenceIdentity, DefaultsComeFromSystem) {
  const struct {
    const char* clientClass;
    const char* address;
    std::string expected;
  } cases[] = {
      {"mgrx", "192.168.0.1", "mgrx c0a80001"}, {"ab", "10.0.0", "abxx 00000000"},
      {"abcdef", "1.2.3.4.5", "abcd 00000000"}, {"", nullptr, "xxxx 7f000001"},
      {"a/b\\", nullptr, "a_b_ 7f000001"},      {" a\t ", nullptr, " a\t  7f000001"},
  };
  for (const auto& test : cases) {
    const CConnection me("", "", test.clientClass, "PC-Twelve", test.address, "Ann");
    EXPECT_EQ(std::string(me.className) + ' ' + me.ipText, test.expected);
    EXPECT_EQ(std::string(me.computer) + ' ' + me.user, "PC-Twelve Ann") << "unchanged";
    EXPECT_EQ(me.pid, static_cast<unsigned int>(getpid()));
  }
  char host[256] = {};
  ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
  const std::string_view name = host;
  std::string computer(name.substr(0, std::min(name.find('.'), std::size_t{15})));
  for (char& letter : computer) letter = static_cast<char>(tolower(letter));
  const CConnection me("", "", "mgrx");
  EXPECT_EQ(me.computer, computer);
  EXPECT_STRNE(me.user, "");
}

TEST_F(PresenceInstance, ListsOtherLiveInstancesOfClass) {
  const struct {
    const char* clientClass;
    Names dead;
    std::string list;
  } cases[] = {
      {"mgrx", {"b-7f000001-001.2.mgrx.tvp"}, "a-7f000001-001.1.mgrx.tvp|"},
      {"*", {"b-7f000001-001.2.view.tvp"}, "a-7f000001-001.1.mgrx.tvp|"},
      {"mgr", {}, ""},
      {"../x", {}, ""},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.clientClass);
    Leave({"a-7f000001-001.1.mgrx.tvp"}, test.dead);
    CConnection me(store_.locks.c_str(), store_.procs.c_str(), "mgrx");
    me.AllocateInstance();
    int count = -1;
    CString list("old");
    EXPECT_EQ(me.GetProcessesList(Arg(test.clientClass), count, list), 0);
    EXPECT_STREQ(list, test.list.c_str());
    EXPECT_EQ(count, test.list.empty() ? 0 : 1);
    EXPECT_EQ(store_.Markers().size(), 2U) << "the dead are gone";
  }
}

TEST_F(PresenceInstance, MarkersHavePermissionsOfFolder) {
  const mode_t former = umask(077);
  CConnection me(store_.locks.c_str(), store_.procs.c_str(), "mgrx");
  me.AllocateInstance();
  umask(former);
  const auto mode = std::filesystem::status(store_.procsHost + store_.Markers().at(0)).permissions();
  EXPECT_EQ(mode, std::filesystem::perms(0666));
}

}  // namespace
