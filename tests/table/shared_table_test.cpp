#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <tvlclient/tvlclient.h>

#include "support/helper_process.h"
#include "support/store.h"
#include "support/temp_folder.h"
#include "table/engine_binding.h"

namespace {

constexpr int kRecord = 5;
constexpr int kKey = 4;

class SharedTableTest : public testing::Test {
 protected:
  void SetUp() override {
    store_.Make();
    folder_.Make("work");
    ASSERT_EQ(connection_.Open(Arg(folder_.Logical("work")), Arg(store_.config), Arg("mgrx")), TVL_OK);
    ASSERT_EQ(set_.InitAndOpen(Arg("t.dat"), kRecord, kKey, 0), TVL_OK);
    ASSERT_EQ(set_.AddNew("a", nullptr, "kept!"), 1);
    ASSERT_EQ(set_.WriteTheBlock(), TVL_OK);
  }

  TempFolder folder_{TempFolder::Memory()};
  Store store_{folder_.Host()};
  CTVLClientSmbOpr connection_;
  CTVLCtreeRs set_{&connection_};
};

// Tries for a lock on some bytes of a file, as another process.
int LockBytes(const std::vector<std::string>& arguments) {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_start = std::stoll(arguments[1]);
  lock.l_len = 1;
  const int descriptor = open(arguments[0].c_str(), O_RDWR | O_CLOEXEC);
  return descriptor >= 0 && fcntl(descriptor, F_OFD_SETLK, &lock) == 0 ? 0 : 1;
}
const Role lockBytes("lock-bytes", LockBytes);

// Writes one row, after saying that it is about to.
int WriteRow(const std::vector<std::string>& arguments) {
  const Store store(arguments[0]);
  CTVLClientSmbOpr connection;
  CTVLCtreeRs set(&connection);
  if (store.Connect(connection) != TVL_OK || set.Open(Arg("t.dat")) != TVL_OK) return 1;
  Tell("ready");
  if (set.AddNew("b", nullptr, "other") != 1) return 2;
  return set.WriteTheBlock();
}
const Role writeRow("write-row", WriteRow);

TEST_F(SharedTableTest, ReadingTheFileBesidesLosesNoLockOfABatch) {
  constexpr long long kWriterByte = 0x40000001;  // the engine's mark of a writer
  constexpr long long kUseByte = 1LL << 40;
  int handle = -1;
  int lengths[3] = {};
  ASSERT_EQ(connection_.CTFileOpen(Arg("t.dat"), handle, lengths[0], lengths[1], lengths[2]), TVL_OK);
  const std::string table = store_.rootHost + "t.dat";
  const auto isLocked = [&](long long byte) {
    return HelperProcess({"lock-bytes", table, std::to_string(byte)}).Wait() == 1;
  };
  EXPECT_FALSE(isLocked(kWriterByte));
  EXPECT_TRUE(isLocked(kUseByte));
  HelperProcess other({"write-row", folder_.Host()});
  ASSERT_EQ(other.Hear(), "ready");
  ASSERT_EQ(other.Wait(), TVL_OK);
  tvl::TableBatch batch(handle, tvl::TableBatch::Kind::kWrite);
  ASSERT_TRUE(batch.HasBegun());
  ASSERT_EQ(set_.WriteTheBlock(), TVL_OK);
  int transferred = 0;
  const struct {
    const char* what;
    int code;
  } uses[] = {
      {"hash", GetFileSignature(Arg(store_.root + "t.dat"))[0] == 0 ? 1 : 0},
      {"copy", connection_.CopyRemoteFile2Dir(Arg("t.dat"), Arg(folder_.Logical("work")))},
      {"copy on the store", connection_.CopyServer2Server(Arg("t.dat"), Arg("copy.dat"), 0)},
      {"get", connection_.GetRemote(Arg("t.dat"), Arg("got.dat"), &transferred)},
      {"put", connection_.PutRemote(Arg("put.dat"), Arg("got.dat"), &transferred)},
  };
  for (const auto& use : uses) EXPECT_EQ(use.code, TVL_OK) << use.what;
  EXPECT_NE(connection_.PutRemote(Arg("t.dat"), Arg("got.dat"), &transferred), TVL_OK) << "it is in use";
  EXPECT_TRUE(isLocked(kWriterByte));
  EXPECT_TRUE(isLocked(kUseByte));
  EXPECT_TRUE(batch.End());
  EXPECT_FALSE(isLocked(kWriterByte));
  EXPECT_EQ(set_.ReadKeyPrefiz(Arg("a\x01"
                                   "b")),
            1);
  EXPECT_EQ(set_.Count(), 2);
}

// Whatever would take a table's file away: bit by bit, 1 for each that was not refused.
int TakeAway(const std::vector<std::string>& arguments) {
  const Store store(arguments[0]);
  CTVLClientSmbOpr connection;
  CTVLCtreeRs set(&connection);
  if (connection.Open(Arg(Store::Logical(arguments[0] + "/work")), Arg(store.config), Arg("mgrx")) != TVL_OK)
    return 99;
  int done = 0;
  const auto note = [&done](int bit, bool succeeded) { done |= succeeded ? bit : 0; };
  note(1, connection.CopyServer2Server(Arg("tvl.ini"), Arg("t.dat"), 0) == TVL_OK);
  note(2, set.InitAndOpen(Arg("t.dat"), kRecord, kKey, 0) == TVL_OK);
  set.Close();
  note(4, connection.RenameServerFile(Arg("t.dat"), Arg("moved.dat")) == TVL_OK);
  note(8, DeleteFileA((store.root + "t.dat").c_str()) != 0);
  note(16, connection.DeleteServerFile(Arg("t.dat")) == TVL_OK &&
               access((store.rootHost + "t.dat").c_str(), F_OK) != 0);
  return done;
}
const Role takeAway("take-away", TakeAway);

TEST_F(SharedTableTest, ATableInUseIsNobodyElsesToTake) {
  EXPECT_EQ(HelperProcess({"take-away", folder_.Host()}).Wait(), 0);
  EXPECT_EQ(set_.ReadKeyPrefiz(Arg("a")), 1);
  EXPECT_EQ(set_.Count(), 1);
  EXPECT_EQ(set_.WriteTheBlock(), TVL_OK);
  set_.Close();
  EXPECT_NE(HelperProcess({"take-away", folder_.Host()}).Wait(), 0) << "nobody uses it any more";
}

// Keeps a table open until it is killed.
int KeepOpen(const std::vector<std::string>& arguments) {
  const Store store(arguments[0]);
  CTVLClientSmbOpr connection;
  CTVLCtreeRs set(&connection);
  if (store.Connect(connection) != TVL_OK) return 1;
  Tell(std::to_string(set.Open(Arg("t.dat"))));
  Listen();
  return 0;
}
const Role keepOpen("keep-open", KeepOpen);

TEST_F(SharedTableTest, AUserThatIsKilledUsesATableNoMore) {
  HelperProcess user({"keep-open", folder_.Host()});
  ASSERT_EQ(user.Hear(), "0");
  EXPECT_EQ(set_.InitAndOpen(Arg("t.dat"), kRecord, kKey, 0), TVL_ERR_DELETE_FILE);
  EXPECT_EQ(set_.Open(Arg("t.dat")), TVL_OK) << "and it is whole";
  EXPECT_EQ(set_.ReadKeyPrefiz(Arg("a")), 1);
  EXPECT_EQ(set_.Count(), 1);
  user.Signal(SIGKILL);
  user.Wait();
  EXPECT_EQ(set_.InitAndOpen(Arg("t.dat"), kRecord, kKey, 0), TVL_OK);
}

}  // namespace
