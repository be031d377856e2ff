#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <list>
#include <string>
#include <vector>

#include "presence/connection.h"
#include "presence/held_marker.h"
#include "support/store.h"
#include "support/temp_folder.h"

namespace {

using Names = std::vector<std::string>;

class InstanceTest : public testing::Test {
 protected:
  void SetUp() override { store_.Make(); }

  // Markers of others, the live ones held.
  void Leave(const Names& live, const Names& dead) {
    for (const std::string& name : dead) folder_.Write("store/tmp/procs/" + name, "");
    for (const std::string& name : live) held_.emplace_back(store_.procs + name);
  }

  TempFolder folder_;
  Store store_{folder_.Host()};
  std::list<HeldMarker> held_;
};

struct Me : CConnection {
  explicit Me(const Store& store, const char* clientClass = "mgrx", const char* computerName = "pc12")
      : CConnection(store.locks.c_str(), store.procs.c_str(), clientClass, computerName, "127.0.0.1", "ann") {
  }
};

TEST_F(InstanceTest, NumbersGrowDownToOneAndThenUp) {
  const auto mine = [](const char* number) {
    return std::string("pc12-7f000001-") + number + ".1a2c.mgrx.tvp";
  };
  const struct {
    Names live;
    Names dead;
    int instance;
  } cases[] = {
      {{}, {}, 1},
      {{}, {mine("001")}, 1},
      {{mine("002")}, {mine("001")}, 1},
      {{mine("001")}, {}, 2},
      {{mine("003"), mine("004")}, {}, 2},
      {{mine("001"), mine("003")}, {}, 4},
      {{mine("002"), mine("005")}, {}, 1},
      {{mine("001")}, {mine("002"), mine("009")}, 2},
      {{mine("1000"), mine("1001")}, {}, 999},
      {{mine("001"), mine("1200")}, {}, 1201},
      // Nobody who counts: other computers, addresses and classes, and what is no marker.
      {{"pc13-7f000001-001.1.mgrx.tvp", "pc12-7f000002-001.1.mgrx.tvp", "pc12-7f000001-001.1.mgry.tvp"},
       {},
       1},
      {{"pc12-7f000001-001.1.mgrxx.tvp", "pc12-7f000001-001.1.mgr.tvp", "pc12-7f000001-001.mgrx.tvp"}, {}, 1},
      {{mine("2147483647"), mine("99999999999")}, {}, 1},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(testing::PrintToString(test.live));
    Leave(test.live, test.dead);
    Me me(store_);
    EXPECT_EQ(me.AllocateInstance(), test.instance);
    EXPECT_EQ(me.AllocateInstance(), test.instance);
    char name[64];
    std::snprintf(name, sizeof name, "pc12-7f000001-%03d.%x.mgrx.tvp", test.instance,
                  static_cast<unsigned int>(getpid()));
    Names left = test.live;
    left.emplace_back(name);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(store_.Markers(), left) << "the dead are gone, the own marker is there";
    EXPECT_EQ(me.markerPath, store_.procs + name);
    me.Unregister();
    EXPECT_EQ(me.instance, test.instance);
    EXPECT_STREQ(me.markerPath, "");
    me.Unregister();
    EXPECT_EQ(store_.Markers().size(), test.live.size());
    held_.clear();
    for (const std::string& live : test.live) std::filesystem::remove(store_.procsHost + live);
  }
}

TEST_F(InstanceTest, InstancesOfOneProcessSeeEachOther) {
  Me first(store_);
  Me second(store_);
  Me otherClass(store_, "ab");
  EXPECT_EQ(first.AllocateInstance(), 1);
  EXPECT_EQ(second.AllocateInstance(), 2);
  EXPECT_EQ(otherClass.AllocateInstance(), 1);
  first.Unregister();
  EXPECT_EQ(Me(store_).AllocateInstance(), 1);
}

TEST_F(InstanceTest, ANumberIsFoundWithoutAnyFolder) {
  std::filesystem::remove_all(store_.rootHost);
  Me me(store_);
  EXPECT_EQ(me.AllocateInstance(), 1);
  EXPECT_EQ(me.markerHandle, INVALID_HANDLE_VALUE);
  EXPECT_EQ(me.Lock("ORD1"), 0);
  int count = -1;
  CString list;
  EXPECT_EQ(me.GetProcessesList(Arg("*"), count, list), 0);
  EXPECT_EQ(count, 0);
}

TEST(Identity, IsFilledUpOrAsked) {
  const struct {
    const char* clientClass;
    const char* address;
    const char* expectedClass;
    const char* expectedIp;
  } cases[] = {
      {"mgrx", "192.168.0.1", "mgrx", "c0a80001"},
      {"ab", "10.0.0", "abxx", "00000000"},
      {"abcdef", "1.2.3.4.5", "abcd", "00000000"},
      {"", nullptr, "xxxx", "7f000001"},
  };
  for (const auto& test : cases) {
    const CConnection me("", "", test.clientClass, "PC-Twelve", test.address, "Ann");
    EXPECT_STREQ(me.className, test.expectedClass);
    EXPECT_STREQ(me.ipText, test.expectedIp);
    EXPECT_STREQ(me.computer, "PC-Twelve") << "a name that is given stays as it is";
    EXPECT_STREQ(me.user, "Ann");
    EXPECT_EQ(me.pid, static_cast<unsigned int>(getpid()));
  }
  char host[256] = {};
  ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
  std::string computer = host;
  computer.resize(std::min({computer.size(), computer.find('.'), std::size_t{15}}));
  for (char& letter : computer) letter = static_cast<char>(tolower(letter));
  const CConnection me("", "", "mgrx");
  EXPECT_EQ(me.computer, computer.empty() ? "unknown" : computer);
  EXPECT_STRNE(me.user, "");
}

TEST_F(InstanceTest, TheListHasTheLiveOthersOfAClass) {
  const struct {
    const char* clientClass;
    Names live;
    Names dead;
    std::string list;
  } cases[] = {
      {"mgrx", {}, {}, ""},
      {"mgrx", {"a-7f000001-001.1.mgrx.tvp"}, {"b-7f000001-001.2.mgrx.tvp"}, "a-7f000001-001.1.mgrx.tvp|"},
      {"view", {"a-7f000001-001.1.mgrx.tvp"}, {}, ""},
      {"mgr", {"a-7f000001-001.1.mgrx.tvp"}, {}, ""},
      {"*", {"a-7f000001-001.1.mgrx.tvp"}, {"b-7f000001-001.2.view.tvp"}, "a-7f000001-001.1.mgrx.tvp|"},
      {"../x", {}, {}, ""},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.clientClass);
    Leave(test.live, test.dead);
    Me me(store_);
    me.AllocateInstance();
    int count = -1;
    CString list("old");
    EXPECT_EQ(me.GetProcessesList(Arg(test.clientClass), count, list), 0);
    EXPECT_STREQ(list, test.list.c_str());
    EXPECT_EQ(count, std::count(test.list.begin(), test.list.end(), '|'));
    EXPECT_EQ(store_.Markers().size(), test.live.size() + 1) << "the dead are gone";
    held_.clear();
    for (const std::string& live : test.live) std::filesystem::remove(store_.procsHost + live);
  }
}

TEST_F(InstanceTest, MarkersAreOpenToAllWhomTheirFolderIsOpenTo) {
  const mode_t former = umask(077);
  Me me(store_);
  me.AllocateInstance();
  umask(former);
  const auto mode = std::filesystem::status(store_.procsHost + store_.Markers().at(0)).permissions();
  EXPECT_EQ(mode, std::filesystem::perms(0666));
}

}  // namespace
