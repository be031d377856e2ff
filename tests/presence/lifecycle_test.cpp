#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include <tvlclient/tvlclient.h>

#include "presence/clients.h"
#include "support/forked.h"
#include "support/mounted_folder.h"
#include "table/engine_binding.h"

namespace {

constexpr int kRecord = 20;
constexpr int kKey = 8;

string Numbered(string name, int number) {
  name += std::to_string(number);
  return name;
}

int StateOfLock(CTVLClientSmbOpr& connection, const char* object) {
  int state = -1;
  EXPECT_EQ(connection.Lock(Arg(object), &state, nullptr, nullptr, nullptr, nullptr, nullptr), TVL_OK);
  return state;
}

// Writes rows whose keys begin with `name`, each by itself.
bool WriteRows(CTVLClientSmbOpr& connection, const string& name, int rows) {
  CTVLCtreeRs set(&connection);
  bool good = set.Open(Arg("t.dat")) == TVL_OK;
  for (int row = 0; good && row < rows; ++row) {
    set.MakeEmpty();
    const string key = Numbered(name, row);
    good =
        set.AddNew(key.c_str(), nullptr, string(kRecord, 'r').data()) == 1 && set.WriteTheBlock() == TVL_OK;
  }
  return good;
}

int CountRows(CTVLClientSmbOpr& connection, const char* prefix) {
  CTVLCtreeRs set(&connection);
  if (set.Open(Arg("t.dat")) != TVL_OK || set.ReadKeyPrefiz(Arg(prefix)) != 1) return -1;
  return set.Count();
}

class PresenceLifecycle : public StoreTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(CCtreeFile::CreateFiles((store_.root + "t.dat").c_str(), kRecord, kKey, 0), 1);
  }
};

TEST_F(PresenceLifecycle, ForkedChildChangesNothingOfParent) {
  constexpr int rows = 500;
  CTVLClientSmbOpr parent;
  ASSERT_EQ(store_.Connect(parent), TVL_OK);
  ASSERT_EQ(StateOfLock(parent, "PARENT"), 1);
  CTVLCtreeRs set(&parent);
  ASSERT_EQ(set.Open(Arg("t.dat")), TVL_OK);
  folder_.Make("work");
  const auto work = [&] {
    int state = -1;
    const bool dead = parent.Lock(Arg("X"), &state, nullptr, nullptr, nullptr, nullptr, nullptr) != TVL_OK &&
                      set.ReadKeyPrefiz(Arg("p")) == 0;
    CTVLClientSmbOpr own;
    return dead && store_.Connect(own) == TVL_OK && own.InstanceId() == 2 &&
           StateOfLock(own, "PARENT") == 2 && StateOfLock(own, "CHILD") == 1 && WriteRows(own, "c", rows) &&
           parent.Close() == TVL_OK;
  };
  const pid_t child = Fork([&]() -> int { std::exit(work() ? 0 : 1); });
  EXPECT_TRUE(WriteRows(parent, "p", rows));
  EXPECT_EQ(WaitFor(child), 0);
  EXPECT_EQ(CountRows(parent, "p"), rows);
  EXPECT_EQ(CountRows(parent, "c"), rows);
  EXPECT_EQ(store_.Markers().size(), 1U) << "the child's own is gone, the parent's is there";
  CTVLClientSmbOpr other;
  ASSERT_EQ(other.Open(Arg(folder_.Logical("work")), Arg(store_.config), Arg("mgrx")), TVL_OK);
  EXPECT_EQ(other.InstanceId(), 2);
  EXPECT_EQ(StateOfLock(other, "PARENT"), 2);
  EXPECT_EQ(StateOfLock(other, "CHILD"), 1);
  // The parent's table is still in use, so its file cannot be replaced.
  CTVLCtreeRs recreated(&other);
  EXPECT_EQ(DeleteFileA((store_.root + "t.dat").c_str()), 0);
  EXPECT_NE(other.RenameServerFile(Arg("t.dat"), Arg("moved.dat")), TVL_OK);
  EXPECT_NE(other.CopyServer2Server(Arg("tvl.ini"), Arg("t.dat"), 0), TVL_OK);
  EXPECT_EQ(recreated.InitAndOpen(Arg("t.dat"), kRecord, kKey, 0), TVL_ERR_DELETE_FILE);
  EXPECT_EQ(CountRows(other, "p"), rows);
}

// Ends the program in the requested way with everything open: connections of both kinds, a lock, a table, a
// batch of rows. With a sanitizer, a leak or a use after free changes the exit code.
const Role leave_open("leave-open", [](const std::vector<string>& arguments) {
  const Store store(arguments[0]);
  static CTVLClientSmbOpr second;
  static CTVLCtreeRs set(&second);
  int state = 0;
  bool good = TVLConnect2Dir(Arg(""), Arg(store.config), Arg("mgrx")) == TVL_OK;
  TVLLockObject(Arg("LEFT"), &state, nullptr, nullptr, nullptr, nullptr, nullptr);
  good = good && state == 1 && store.Connect(second) == TVL_OK && StateOfLock(second, "SECOND") == 1;
  good = good && set.Open(Arg("t.dat")) == TVL_OK && set.ReadKeyPrefiz(Arg("t")) == 1;
  Say(good ? "open" : "not open");
  const string& way = arguments[1];
  if (way == "exit") std::exit(0);
  if (way == "thread") std::thread([] { std::exit(0); }).join();
  // The end of a child must not end the presence of its parent.
  return way != "fork" || (WaitFor(Fork([]() -> int { std::exit(0); })) == 0 && TVLIsPresent() == 1) ? 0 : 1;
});

TEST_F(PresenceLifecycle, EndOfProcessClosesEverythingInOrder) {
  for (const char* way : {"exit", "thread", "fork", "return"}) {
    SCOPED_TRACE(way);
    HelperProcess program({"leave-open", folder_.Host(), way});
    EXPECT_EQ(program.Hear(), "open");
    EXPECT_EQ(program.Wait(), 0);
    EXPECT_EQ(store_.Markers(), std::vector<string>{});
    EXPECT_FALSE(folder_.Exists("store/t.dat-journal"));
    CConnection looking(store_.locks.c_str(), store_.procs.c_str(), "look");
    std::vector<tvl::LockRow> rows;
    EXPECT_TRUE(looking.ListLocks(rows));
    EXPECT_TRUE(rows.empty());
  }
}

TEST_F(PresenceLifecycle, MarkersHavePermissionsOfFolder) {
  const mode_t former = umask(077);
  const Me me(store_);
  umask(former);
  const auto mode = fs::status(store_.procs_host + store_.Markers().at(0)).permissions();
  EXPECT_EQ(mode, fs::perms(0666));
}

TEST_F(PresenceLifecycle, RemovesDeadClientOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become other users";
  ClientProcess first(folder_.Host(), 65534);
  ClientProcess second(folder_.Host(), 65533);
  EXPECT_EQ(first.Start(), "1");
  EXPECT_EQ(second.Start(), "2");
  EXPECT_EQ(first.Lock("A"), "1");
  EXPECT_EQ(second.Lock("A"), "2");
  first.Signal(SIGKILL);
  ASSERT_EQ(first.Wait(), -SIGKILL);
  EXPECT_EQ(second.Lock("A"), "1");
  EXPECT_EQ(store_.Markers().size(), 1U);
}

// Holds a lock and stays inside a write batch of the lock table, with a forked child that has neither.
const Role sit_in_a_batch("sit-in-a-batch", [](const std::vector<string>& arguments) {
  Me me{Store(arguments[0])};
  if (me.Lock("PARENT") != 1) return 1;
  const tvl::TableBatch batch(me.table->handle, tvl::TableBatch::Kind::kWrite);
  if (batch.HasBegun() && fork() == 0) Say("child lives");
  Listen();
  _exit(0);
});

TEST_F(PresenceLifecycle, StoppedWriterMakesOthersFailWithoutHanging) {
  using std::chrono::seconds;
  using std::chrono::steady_clock;
  Me me(store_, "view");
  ASSERT_EQ(me.Lock("MINE"), 1);
  ClientProcess other(folder_.Host());
  ASSERT_EQ(other.Start(), "1");
  HelperProcess writer({"sit-in-a-batch", folder_.Host()});
  ASSERT_EQ(writer.Hear(), "child lives");
  writer.Signal(SIGSTOP);
  // Uses another process, because within one process the users of a table take turns.
  ClientProcess late(folder_.Host());
  steady_clock::time_point start = steady_clock::now();
  late.Say("start");
  other.Say("OTHER");
  EXPECT_EQ(other.Hear(), "0");
  EXPECT_EQ(late.Hear(), "3") << "it starts all the same";
  EXPECT_GE(steady_clock::now() - start, seconds(9));
  EXPECT_LE(steady_clock::now() - start, seconds(15));

  writer.Signal(SIGKILL);
  writer.Wait();
  start = steady_clock::now();
  EXPECT_EQ(me.Lock("PARENT"), 1);
  EXPECT_LT(steady_clock::now() - start, seconds(8)) << "the child does not block others";
  EXPECT_EQ(me.Unlock("MINE"), 0);
  EXPECT_EQ(store_.Markers().size(), 3U) << "the dead one's is gone";
}

TEST(PresenceFullStore, FullOrReadOnlyStoreRefusesLocks) {
  const TempFolder folder;
  const MountedFolder disk(folder.Host("disk"), "size=8m");
  if (!disk.IsMounted()) GTEST_SKIP() << "only root can mount";
  const Store store(disk.Path());
  store.Make();
  ASSERT_EQ(CCtreeFile::CreateFiles((store.root + "t.dat").c_str(), kRecord, kKey, 0), 1);
  {
    CTVLClientSmbOpr connection;
    CTVLCtreeRs set(&connection);
    ASSERT_EQ(store.Connect(connection), TVL_OK);
    ASSERT_TRUE(WriteRows(connection, "a", 3));
    ASSERT_EQ(set.Open(Arg("t.dat")), TVL_OK);
    ASSERT_EQ(set.Extend(50'000), 1);
    for (int row = 0; row < 50'000; ++row) {
      ASSERT_EQ(set.AddNew(Numbered("b", row).c_str(), nullptr, nullptr), 1);
    }
    disk.FillUp(100'000);
    EXPECT_EQ(set.WriteTheBlock(), TVL_ERR_RS_WRITE);
    disk.FillUp(0);
    EXPECT_EQ(StateOfLock(connection, "ORD1"), 0);
    EXPECT_EQ(set.InitAndOpen(Arg("new.dat"), kRecord, kKey, 0), TVL_ERR_DELETE_FILE);
    disk.FreeUp();
    EXPECT_EQ(StateOfLock(connection, "ORD1"), 1);
    EXPECT_EQ(CountRows(connection, "a"), 3);
    EXPECT_EQ(CountRows(connection, "b"), 0) << "one transaction";
    ClientProcess killed(disk.Path());
    EXPECT_EQ(killed.Start(), "1");
    EXPECT_EQ(killed.Lock("DEAD"), "1");
  }
  UnloadTableEngine();
  ASSERT_TRUE(disk.MakeReadOnly());
  CTVLClientSmbOpr connection;
  CTVLCtreeRs set(&connection);
  EXPECT_EQ(store.Connect(connection), TVL_OK);
  EXPECT_EQ(connection.InstanceId(), 1);
  EXPECT_EQ(store.Markers().size(), 1U);
  EXPECT_EQ(StateOfLock(connection, "FREE"), 0);
  EXPECT_EQ(StateOfLock(connection, "DEAD"), 3) << "a marker that can't be deleted counts";
  EXPECT_EQ(set.Open(Arg("t.dat")), TVL_OK);
  EXPECT_EQ(set.AddNew("b", nullptr, nullptr), 1);
  EXPECT_EQ(set.WriteTheBlock(), TVL_ERR_RS_WRITE);
  EXPECT_EQ(set.DeleteKeyPrefiz(Arg("a\x01")), TVL_ERR_RS_DELETE);
  EXPECT_EQ(set.InitAndOpen(Arg("new.dat"), kRecord, kKey, 0), TVL_ERR_DELETE_FILE);
  EXPECT_EQ(CountRows(connection, "a"), 3);
}

}  // namespace
