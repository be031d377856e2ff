#include <memory>

#include "presence/clients.h"

namespace {

class PresenceLocks : public StoreTest {
 protected:
  // Returns the names of the objects in the table, each followed by "|".
  [[nodiscard]] string Rows() const {
    CConnection looking(store_.locks.c_str(), store_.procs.c_str(), "look");
    std::vector<tvl::LockRow> rows;
    EXPECT_TRUE(looking.ListLocks(rows));
    string names;
    for (const tvl::LockRow& row : rows) names += string(row.object) + (row.alive ? "|" : "(dead)|");
    return names;
  }
};

string Owner(const CConnection& me) {
  return string(me.ownerComputer) + ' ' + me.ownerClass + ' ' + std::to_string(me.ownerInstance) + ' ' +
         std::to_string(me.ownerPid == getpid() ? 1 : me.ownerPid) + ' ' + me.ownerIp + ' ' + me.ownerUser;
}

constexpr char kNobody[] = "  0 0  ";

TEST_F(PresenceLocks, LocksAndReleasesOnce) {
  Me me(store_);
  EXPECT_EQ(me.Unlock("ORD1"), 0);
  EXPECT_EQ(Owner(me), kNobody);
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(me.Lock("ORD1"), 1);
    EXPECT_EQ(Owner(me), "pc12 mgrx 1 1 127.0.0.1 ann");
    EXPECT_EQ(me.lockCount, 1);
    EXPECT_EQ(Rows(), "ORD1|");
  }
  EXPECT_EQ(me.Unlock("ORD1"), 0);
  EXPECT_EQ(me.lockCount, 0);
  EXPECT_EQ(Owner(me), kNobody);
  EXPECT_STREQ(me.object, "");
  EXPECT_EQ(Rows(), "");
}

TEST_F(PresenceLocks, StateDependsOnOwner) {
  const struct {
    const char* client_class;
    const char* computer;
    const char* address;
    int state;
    const char* owner;
  } cases[] = {
      {"mgrx", "pc12", "127.0.0.1", 2, "pc12 mgrx 2 1 127.0.0.1 bob"},  // gets another number
      {"view", "pc12", "127.0.0.1", 2, "pc12 view 1 1 127.0.0.1 bob"},  // the same number, another class
      {"mgrx", "pc12", "10.0.0.7", 3, "pc12 mgrx 1 1 10.0.0.7 bob"},
      {"v1.0", "my-own-pc-of-32-characters-abcde", "127.0.0.1", 3,
       "my-own-pc-of-32-characters-abcde v1.0 1 1 127.0.0.1 bob"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.owner);
    Me me(store_);
    auto other = std::make_unique<Me>(store_, test.client_class, test.computer, test.address, "bob");
    ASSERT_EQ(other->Lock("ORD1"), 1);
    for (const auto operation : kOperations) {
      EXPECT_EQ((me.*operation)("ORD1"), test.state);
      EXPECT_EQ(Owner(me), test.owner);
      EXPECT_EQ(me.lockCount, 0);
    }
    EXPECT_EQ(other->CheckLock("ORD1"), 1);
    other.reset();
    EXPECT_EQ(me.Lock("ORD1"), 1);
    EXPECT_EQ(me.Unlock("ORD1"), 0);
  }
}

TEST_F(PresenceLocks, RestartedClientIsTheSameOwner) {
  Me me(store_);
  ASSERT_EQ(me.Lock("ORD1"), 1);
  CConnection twin(store_.locks.c_str(), store_.procs.c_str(), "MGRX", "PC12", "127.0.0.1", "bob");
  twin.instance = 1;
  EXPECT_EQ(twin.Lock("ORD1"), 1) << "process and user play no part";
  EXPECT_EQ(Owner(twin), "pc12 mgrx 1 1 127.0.0.1 ann");
}

// A dead instance leaves its row, and its marker unless another instance has already removed it.
TEST_F(PresenceLocks, RemovesDeadOwners) {
  for (const bool marker_left : {true, false}) {
    for (const auto operation : kOperations) {
      string marker = store_.procs_host;
      {
        Me dead(store_, "view", "pc13");
        marker += store_.Markers().at(0);
        ASSERT_EQ(dead.Lock("A"), 1);
        dead.lockCount = 0;
      }
      if (marker_left) std::ofstream(marker).flush();
      ASSERT_EQ(Rows(), "A(dead)|");
      Me me(store_);
      const bool locks = operation == &CConnection::Lock;
      EXPECT_EQ((me.*operation)("A"), locks ? 1 : 0);
      EXPECT_EQ(Owner(me), locks ? "pc12 mgrx 1 1 127.0.0.1 ann" : kNobody);
      EXPECT_FALSE(fs::exists(marker));
      EXPECT_EQ(Rows(), locks ? "A|" : "");
    }
  }
}

TEST_F(PresenceLocks, ChecksNamesOfObjects) {
  const std::pair<string, string> cases[] = {
      {string(32, 'n'), string(32, 'n')},
      {string(33, 'n'), ""},
      {string(5000, 'n'), ""},
      {"", ""},
      {" ", ""},
      {"ORD1 \t ", "ORD1"},
      {"ORD1" + string(70, ' ') + "x", ""},  // not the object ORD1
      {" lead", " lead"},
      {"\xE0\xFF|%s=\\..", "\xE0\xFF|%s=\\.."},
      {"\1", "\1"},
      {string(32, '\1'), string(32, '\1')},
  };
  for (const auto& [name, row] : cases) {
    SCOPED_TRACE(name);
    const bool is_name = !row.empty();
    Me me(store_);
    Me other(store_);
    EXPECT_EQ(me.Lock(name.c_str()), is_name ? 1 : 0);
    EXPECT_EQ(Rows(), is_name ? row + "|" : "");
    EXPECT_EQ(other.Lock(name.c_str()), is_name ? 2 : 0);
    EXPECT_EQ(me.Unlock(name.c_str()), 0);
    EXPECT_EQ(Rows(), "");
  }
}

TEST_F(PresenceLocks, NameInOtherCaseIsSameObjectIfOrderFindsIt) {
  Me me(store_);
  Me other(store_);
  ASSERT_EQ(me.Lock("ord1"), 1);
  EXPECT_EQ(me.Lock("ORD1"), 1) << "found after the key in capitals";
  EXPECT_EQ(other.Lock("ORD1"), 2);
  EXPECT_EQ(me.Unlock("ORD1"), 1) << "no row has that very key";
  EXPECT_EQ(Rows(), "ord1|");
  EXPECT_EQ(me.Unlock("ord1"), 0);
}

TEST_F(PresenceLocks, CloseReleasesTopRowsAndNextOpenReleasesTheRest) {
  Me other(store_, "mgrx", "pc13");
  ASSERT_EQ(other.Lock("m"), 1);
  {
    Me me(store_);
    for (const char* name : {"a", "z", "y"}) ASSERT_EQ(me.Lock(name), 1);
    EXPECT_EQ(Rows(), "a|m|y|z|");
  }
  EXPECT_EQ(Rows(), "a(dead)|m|");
  EXPECT_EQ(other.Lock("a"), 1);
  {
    Me dead(store_);
    ASSERT_EQ(dead.Lock("z"), 1);
    dead.lockCount = 0;
  }
  EXPECT_EQ(Rows(), "a|m|z(dead)|");
  const Me me(store_);
  EXPECT_EQ(Rows(), "a|m|");
}

TEST_F(PresenceLocks, LocksNothingWithoutTable) {
  fs::remove(store_.lock_table_host);
  Me me(store_);
  EXPECT_EQ(me.instance, 1);
  EXPECT_EQ(store_.Markers().size(), 1U);
  for (const auto operation : kOperations) {
    EXPECT_EQ((me.*operation)("ORD1"), 0);
    EXPECT_EQ(Owner(me), kNobody);
  }
  EXPECT_FALSE(fs::exists(store_.lock_table_host)) << "the table is not created";
  std::vector<tvl::LockRow> rows;
  EXPECT_FALSE(me.ListLocks(rows));
  if (!kReplacesOpenFiles) GTEST_SKIP() << "the folder of an open marker cannot be removed";
  fs::remove_all(store_.root_host);
  const Me nowhere(store_);
  EXPECT_EQ(nowhere.instance, 2) << "this process has number 1, regardless of its marker";
  EXPECT_EQ(nowhere.markerHandle, INVALID_HANDLE_VALUE);
}

TEST_F(PresenceLocks, OwnerMustBePresent) {
  Me me(store_);
  Me other(store_, "view");
  ASSERT_EQ(me.Lock("ORD1"), 1);
  EXPECT_TRUE(me.HoldsLock("ORD1") && me.HoldsLock("ORD1 "));
  EXPECT_FALSE(me.HoldsLock("ORD2") || me.HoldsLock("") || other.HoldsLock("ORD1"));
  EXPECT_EQ(me.lockState, 1) << "as the last lock operation left it";
  CConnection twin(store_.locks.c_str(), store_.procs.c_str(), "mgrx", "pc12", "127.0.0.1", "ann");
  EXPECT_FALSE(twin.HoldsLock("ORD1")) << "it has no marker";
  const string marker = store_.procs_host + store_.Markers().at(0);
  fs::rename(marker, marker + "x");
  EXPECT_FALSE(me.IsPresent() || me.HoldsLock("ORD1"));
  std::ofstream(marker).flush();
  EXPECT_FALSE(me.IsPresent() || me.HoldsLock("ORD1")) << "another file";
  fs::rename(marker + "x", marker);
  EXPECT_TRUE(me.IsPresent() && me.HoldsLock("ORD1"));
  me.Unregister();
  EXPECT_FALSE(me.IsPresent() || me.HoldsLock("ORD1"));
}

TEST_F(PresenceLocks, ConnectionReportsOwner) {
  CTVLClientSmbOpr store;
  int state = 9;
  int count = 9;
  CString list("old");
  EXPECT_EQ(store.GetProcessesList(Arg("*"), count, list), TVL_ERR_NOT_CONNECTED);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(store.Lock(Arg("A"), &state, nullptr, nullptr, nullptr, nullptr, nullptr), TVL_ERR_NOT_CONNECTED);
  EXPECT_EQ(state, 9);
  ASSERT_EQ(store_.Connect(store), TVL_OK);
  Me other(store_, "view", "pc13", "10.0.0.7", "bob");
  ASSERT_EQ(other.Lock("A"), 1);
  char computer[64];
  char ip[16];
  char user[65];
  int instance = 0;
  int pid = 0;
  EXPECT_EQ(store.Lock(Arg("A"), &state, computer, &instance, &pid, ip, user), TVL_OK);
  EXPECT_EQ(string(computer) + ' ' + ip + ' ' + user, "pc13 10.0.0.7 bob");
  EXPECT_EQ(std::vector({state, instance, pid}), (std::vector{3, 1, getpid()}));
  EXPECT_EQ(store.Lock(Arg("B"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), TVL_OK);
  EXPECT_EQ(Rows(), "A|B|");
  EXPECT_EQ(store.GetProcessesList(Arg("view"), count, list), TVL_OK);
  EXPECT_EQ(count, 1);
}

}  // namespace
