#include <signal.h>

#include <chrono>
#include <functional>
#include <iterator>

#include "base/low_file.h"
#include "platform/held_file.h"
#include "presence/clients.h"
#include "store/lock_ranges.h"
#include "support/faults.h"
#include "table/engine_binding.h"

// Locks whose owner, marker or table is lost in many ways. Two clients must never hold the same lock.

namespace {

class PresenceLastingLocks : public StoreTest {
 protected:
  ~PresenceLastingLocks() override { tvl::System() = real_; }

  [[nodiscard]] string OnlyMarker() const { return store_.procs_host + store_.Markers().at(0); }

  void ReplaceTable() const {
    fs::rename(store_.lock_table_host, store_.lock_table_host + ".old");
    ASSERT_EQ(
        CCtreeFile::CreateFiles((store_.locks + "dtlocks.dat").c_str(), kLockRecordLength, kLockKeyLength, 0),
        1);
  }

  tvl::SystemCalls real_ = tvl::System();
};

constexpr const char* kNames[] = {
    "A", "\xC3\xA9t\xC3\xA9"};  // the second sorts after all names that Close releases

TEST_F(PresenceLastingLocks, RestartedClientTakesOverRows) {
  Me other(store_, "view");
  ASSERT_EQ(other.Lock("M"), 1);
  for (const char* name : kNames) {
    SCOPED_TRACE(name);
    ClientProcess predecessor(folder_.Host());
    ASSERT_EQ(predecessor.Start(), "1");
    ASSERT_EQ(predecessor.Lock(name), "1");
    predecessor.Signal(SIGKILL);
    predecessor.Wait();
    Me me(store_);
    EXPECT_FALSE(me.HoldsLock(name));
    EXPECT_EQ(me.Lock(name), 1);
    EXPECT_NE(me.ownerPid, getpid()) << "the outputs describe the row found";
    EXPECT_EQ(me.lockCount, 1);
    EXPECT_TRUE(me.HoldsLock(name));
    EXPECT_EQ((Codes{other.Lock(name), me.Unlock(name), other.Lock(name), other.Unlock(name)}),
              (Codes{2, 0, 1, 0}));
  }
}

TEST_F(PresenceLastingLocks, LiveProcessesWithOneIdentityExcludeEachOther) {
  ClientProcess twin(folder_.Host());
  ASSERT_EQ(twin.Start(), "1");
  const string marker = OnlyMarker();
  fs::rename(marker, folder_.Host("aside"));
  Me me(store_);
  ASSERT_EQ(me.instance, 1);
  fs::rename(folder_.Host("aside"), marker);
  for (const char* name : {"A", "Z"}) ASSERT_EQ(twin.Lock(name), "1");
  ASSERT_EQ(me.Lock("B"), 1);
  for (const auto operation : kOperations) {
    EXPECT_EQ((me.*operation)("A"), 2);
    EXPECT_EQ((me.*operation)("Z"), 2);
  }
  EXPECT_EQ(me.lockCount, 1);
  me.ReleaseOwnLocks();
  EXPECT_EQ(me.CheckLock("B"), 0) << "which is below a row that stays";
  EXPECT_EQ(me.CheckLock("A"), 2);
}

// Servers on two computers may have the same process id, so their clients differ in nothing but the marker.
// This process is both computers: it does not recognize the store by another path.
TEST_F(PresenceLastingLocks, LostMarkerDoesNotMakeLocksOfTwinOnOtherComputerOwn) {
  fs::create_directory_symlink(folder_.Host("store"), folder_.Host("other"));
  std::optional<Me> me(std::in_place, store_);
  ASSERT_EQ(me->Lock("B"), 1);
  fs::remove(OnlyMarker());
  Store elsewhere = store_;
  for (string* folder : {&elsewhere.locks, &elsewhere.procs})
    folder->replace(folder->find("store"), 5, "other");
  Me twin(elsewhere);
  ASSERT_EQ((Codes{twin.instance, twin.Lock("A"), twin.Lock("B")}), (Codes{1, 1, 1}));
  for (const char* name : {"A", "B"}) {
    for (const auto operation : kOperations) EXPECT_EQ((*me.*operation)(name), 2) << name;
  }
  EXPECT_EQ((Codes{me->Lock("C"), twin.CheckLock("C")}), (Codes{0, 0}));
  me.reset();
  EXPECT_TRUE(twin.HoldsLock("A") && twin.HoldsLock("B"));
}

TEST_F(PresenceLastingLocks, DetectsOwnersOfEveryClass) {
  for (const char* name : {"ab  ", "ab\t ", "  ", "a/bc", "a\\/c", ".a.b"}) {
    SCOPED_TRACE(name);
    Me one(store_, name);
    Me two(store_, name);
    EXPECT_EQ(two.instance, 2);
    EXPECT_EQ(one.Lock("Q"), 1);
    EXPECT_EQ(two.Lock("Q"), 2);
    EXPECT_TRUE(one.HoldsLock("Q"));
    EXPECT_EQ(one.Unlock("Q"), 0);
  }
}

TEST_F(PresenceLastingLocks, OwnerRecreatesLostMarker) {
  const std::pair<const char*, std::function<void(const string& marker)>> cases[] = {
      {"removed", [](const string& marker) { fs::remove(marker); }},
      {"replaced",
       [](const string& marker) {
         std::ofstream(marker + "x").flush();
         fs::rename(marker + "x", marker);
       }},
      {"its folder renamed",
       [](const string& marker) {
         const fs::path procs = fs::path(marker).parent_path();
         fs::remove_all(procs.string() + "x");
         fs::rename(procs, procs.string() + "x");
         fs::create_directory(procs);
       }},
      {"its hold lost by the file server", [](const string&) { tvl::System().read = Failing<EIO>(); }},
  };
  for (const auto& [what, lose] : cases) {
    for (const auto operation : kOperations) {
      SCOPED_TRACE(what);
      Me me(store_);
      ASSERT_EQ(me.Lock("A"), 1);
      ASSERT_EQ(me.Lock("B"), 1);
      lose(OnlyMarker());
      EXPECT_FALSE(me.IsPresent() || me.HoldsLock("A"));
      (me.*operation)("B");
      tvl::System() = real_;
      EXPECT_TRUE(me.IsPresent() && me.HoldsLock("A"));
      EXPECT_TRUE(tvl::IsFileHeld(Store::Logical(OnlyMarker()).c_str()));
      me.ReleaseAllOwnLocks();
    }
  }
}

TEST_F(PresenceLastingLocks, LocksAcquiredByOthersMeanwhileRemainTheirs) {
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"the marker", [&] { fs::remove(OnlyMarker()); }}, {"the table", [&] { ReplaceTable(); }}};
  for (const auto& [what, lose] : cases) {
    SCOPED_TRACE(what);
    Me me(store_);
    ASSERT_EQ(me.Lock("A"), 1);
    lose();
    Me other(store_, "view");
    EXPECT_EQ(other.Lock("A"), 1);
    EXPECT_FALSE(me.HoldsLock("A"));
    EXPECT_EQ(me.Lock("A"), 2);
    EXPECT_EQ(me.Lock("B"), 1);
    EXPECT_TRUE(me.HoldsLock("B") && other.HoldsLock("A"));
    EXPECT_EQ(other.Lock("B"), 2);
    EXPECT_EQ((Codes{me.Unlock("B"), other.Unlock("A")}), Codes(2));
  }
}

TEST_F(PresenceLastingLocks, NoPresenceIfAnotherHoldsMarkerName) {
  Me me(store_);
  fs::remove(OnlyMarker());
  const tvl::LowFile other(me.markerPath, kLowRewrite);
  ASSERT_TRUE(tvl::HoldFile(other.Handle()));
  EXPECT_EQ(me.Lock("A"), 0) << "the row would be that of the other";
  EXPECT_FALSE(me.IsPresent() || me.HoldsLock("A"));
  tvl::ReleaseFile(other.Handle());
  EXPECT_EQ(me.Lock("A"), 1);
  EXPECT_TRUE(me.HoldsLock("A")) << "the name is free again";
}

TEST_F(PresenceLastingLocks, UncheckableOwnerCountsAsAlive) {
  Me other(store_, "view");
  ASSERT_EQ(other.Lock("A"), 1);
  Me me(store_);
  tvl::System().open = Failing<EIO>();
  tvl::System().lstat = Failing<EACCES>();
  EXPECT_EQ(me.Lock("A"), 2);
  tvl::System() = real_;
  string deep = store_.procs;
  while (deep.size() < 240) deep += ".\\";
  CConnection far(store_.locks.c_str(), deep.c_str(), "mgrx", "pc12");
  far.AllocateInstance();
  EXPECT_EQ(far.Lock("A"), 2) << "its path to the marker is too long";
  EXPECT_TRUE(other.HoldsLock("A"));
  EXPECT_FALSE(far.IsPresent());
}

// A trier that is stopped as soon as it has the turn of a new file.
int stopped_trier = -1;
int OpenAndBeTried(const char* path, int flags, mode_t mode) {
  const int file = ::open(path, flags, mode);
  if (file < 0 || (flags & O_EXCL) == 0 || stopped_trier >= 0) return file;
  stopped_trier = ::open(path, O_RDWR | O_CLOEXEC);
  struct flock turn = {};
  turn.l_type = F_WRLCK;
  turn.l_start = tvl::kTurnByte.start;
  turn.l_len = tvl::kTurnByte.length;
  fcntl(stopped_trier, F_OFD_SETLK, &turn);
  return file;
}

TEST_F(PresenceLastingLocks, MarkerIsHeldOnEveryMountDespiteTriers) {
  for (const bool renames : {true, false}) {
    for (const bool links : {true, false}) {
      for (const bool is_tried : {false, true}) {
        SCOPED_TRACE(testing::Message() << renames << links << is_tried);
        if (!renames) tvl::System().renameat_noreplace = Failing<EPERM>();
        if (!links) tvl::System().link = Failing<EPERM>();
        if (is_tried) tvl::System().open = OpenAndBeTried;
        const auto start = std::chrono::steady_clock::now();
        Me me(store_);
        tvl::System() = real_;
        EXPECT_TRUE(me.IsPresent());
        EXPECT_EQ(store_.Markers().size(), 1U) << testing::PrintToString(store_.Markers());
        EXPECT_TRUE(tvl::IsFileHeld(me.markerPath));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        if (stopped_trier >= 0) close(stopped_trier);
        stopped_trier = -1;
      }
    }
  }
}

// Otherwise the next connection of this process would own the rows that an earlier one left.
TEST_F(PresenceLastingLocks, NewConnectionDeletesRowsOfEarlierOne) {
  Me other(store_, "view");
  ASSERT_EQ(other.Lock("M"), 1);
  for (const bool is_table_late : {false, true}) {
    SCOPED_TRACE(is_table_late);
    {
      Me earlier(store_);
      ASSERT_EQ((Codes{earlier.Lock("A"), earlier.Lock("\1")}), (Codes{1, 1}));
    }
    if (is_table_late) fs::rename(store_.lock_table_host, store_.lock_table_host + "x");
    Me me(store_);
    EXPECT_EQ(me.Lock("B"), is_table_late ? 0 : 1);
    if (is_table_late) fs::rename(store_.lock_table_host + "x", store_.lock_table_host);
    EXPECT_EQ(me.Lock("B"), 1) << "a table that is there only now is opened";
    for (const char* object : {"A", "\1"}) {
      EXPECT_EQ(other.Lock(object), 1) << object;
      EXPECT_EQ(other.Unlock(object), 0) << object;
    }
  }
}

// Makes a row's record a byte shorter, as a program without the engine's care would.
void DamageRow(const string& table) {
  std::fstream file(table, std::ios::in | std::ios::out | std::ios::binary);
  const string bytes{std::istreambuf_iterator<char>(file), {}};
  // The lengths of key 1, key 2 and record before a row: 2n + 12 as numbers to the base 128.
  const std::size_t at = bytes.find("\x81\x30\x0C\x82\x40");
  ASSERT_NE(at, string::npos);
  file.seekp(static_cast<std::streamoff>(at) + 4);
  file.put('\x3E');
}

TEST_F(PresenceLastingLocks, DamagedRowIsNotAFreeObject) {
  {
    Me other(store_, "view");
    ASSERT_EQ(other.Lock("A"), 1);
    other.lockCount = 0;
  }
  UnloadTableEngine();
  DamageRow(store_.lock_table_host);
  const string before = folder_.Read("store/tmp/locks/dtlocks.dat");
  Me me(store_);
  std::vector<tvl::LockRow> rows;
  EXPECT_EQ((Codes{me.Lock("A"), me.Unlock("A"), me.CheckLock("A")}), Codes(3));
  EXPECT_FALSE(me.HoldsLock("A") || me.ListLocks(rows));
  EXPECT_EQ(folder_.Read("store/tmp/locks/dtlocks.dat"), before);
  EXPECT_EQ(me.Lock("B"), 1);
}

}  // namespace
