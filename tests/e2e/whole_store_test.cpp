// A complete run of an application that uses the installed library: the shared library and its public
// headers, a second client as a process, and a server as another.

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <string>

#include <tvlclient/tvlclient.h>

#include "support/arg.h"
#include "support/process.h"
#include "support/temp_folder.h"

namespace {

using std::string;

// The outputs of a lock operation.
struct LockAnswer {
  int state = -1;
  int pid = -1;
};

class WholeStore : public testing::Test {
 protected:
  WholeStore() {
    EXPECT_EQ(RunProcess({{TVL_PROGRAM, "init", folder_.Host("store")}}).exit, 0);
    folder_.Write("store/tvl.ini", Configuration(0));
    folder_.Write("packed.ini", Configuration(1));
    folder_.Write("store/packs/upd10.exe", "");
    folder_.Make("work");
  }

  [[nodiscard]] string Configuration(int zip) const {
    return "[TavolisFileSystem]\nDocumentRoot=" + folder_.Host("store") +
           "\nShortName=acme\nLongName=Acme and Sons\nZipOnTransfert=" + std::to_string(zip) + "\n";
  }

  Arg Work() const { return Arg(folder_.Host("work")); }
  Arg Config() const { return Arg(folder_.Host("store/tvl.ini")); }

  static LockAnswer Lock(const char* object) {
    LockAnswer answer;
    EXPECT_EQ(TVLLockObject(Arg(object), &answer.state, nullptr, nullptr, &answer.pid, nullptr, nullptr), 0);
    return answer;
  }

  // Runs a get or a put. Returns whether the file was transferred.
  template <typename Operation>
  static int Moved(Operation operation, const char* name) {
    int moved = 0;
    EXPECT_EQ(operation(Arg(name), nullptr, &moved), TVL_OK) << name;
    return moved;
  }

  void MoveFiles();
  void Pack();
  void ShareLocks();
  void KeepRows(CTVLClientSmbOpr& store);
  void CallTheServer();

  TempFolder folder_;
};

void WholeStore::MoveFiles() {
  folder_.Write("work/docs/a.txt", "first");
  EXPECT_EQ(Moved(TVLPutFile, "docs/a.txt"), 1);
  EXPECT_EQ(Moved(TVLPutFile, "docs/a.txt"), 0);
  EXPECT_EQ(folder_.Read("store/docs/a.txt"), "first");
  folder_.Write("store/docs/a.txt", "second");
  EXPECT_EQ(Moved(TVLGetFile, "docs/a.txt"), 1);
  EXPECT_EQ(folder_.Read("work/docs/a.txt"), "second");
  int moved = 0;
  EXPECT_EQ(TVLGetFile(Arg("docs/none"), nullptr, &moved), TVL_ERR_COPY);
  const string signature = GetFileSignature(Arg(folder_.Host("work/docs/a.txt")));
  EXPECT_EQ(signature, GetFileSignature(Arg(folder_.Host("store/docs/a.txt"))));
  EXPECT_EQ(signature, "6|352f7829a2384b001cc12b0c2613c756454a1f6a");
}

// A client whose configuration compresses transfers uses the same store.
void WholeStore::Pack() {
  const string text(100000, 't');
  folder_.Write("work/long.txt", text);
  CTVLClientSmbOpr packing;
  ASSERT_EQ(packing.Open(Work(), Arg(folder_.Host("packed.ini")), Arg("pack")), TVL_OK);
  EXPECT_EQ(packing.ZipOnTransfert(), 1);
  int moved = 0;
  EXPECT_EQ(packing.PutRemote(Arg("long.txt"), Arg("long.txt"), &moved), TVL_OK);
  EXPECT_EQ(packing.GetRemote(Arg("long.txt"), Arg("again.txt"), &(moved = 1)), TVL_OK);
  EXPECT_EQ(folder_.Read("store/long.txt"), text);
  EXPECT_EQ(folder_.Read("work/again.txt"), text);
}

// Another process holds a lock, is visible, and is killed.
void WholeStore::ShareLocks() {
  Process other({{TVL_PROGRAM, "--config", folder_.Host("store/tvl.ini"), "--work", folder_.Host("work"),
                  "lock", "ORD1", "--", "sh", "-c", "echo locked >&2; exec sleep 60"}});
  ASSERT_TRUE(other.ReadErrorsUntil("locked"));
  const LockAnswer held = Lock("ORD1");
  EXPECT_EQ(held.state, 2);
  CTVLClientSmbOpr second;
  ASSERT_EQ(second.Open(Work(), Config(), Arg("look")), TVL_OK);
  EXPECT_EQ(second.InstanceId(), 1);
  int count = 0;
  CString names;
  EXPECT_EQ(second.GetProcessesList(Arg("*"), count, names), TVL_OK);
  EXPECT_EQ(count, 2) << names.GetString();
  other.Signal(SIGKILL);
  other.Finish();
  EXPECT_EQ(second.GetProcessesList(Arg("*"), count, names), TVL_OK);
  EXPECT_EQ(count, 1) << names.GetString();
  EXPECT_EQ(Lock("ORD1").state, 1);
  int state = -1;
  EXPECT_EQ(TVLUnlockObject(Arg("ORD1"), &state, nullptr, nullptr, nullptr, nullptr, nullptr), TVL_OK);
  EXPECT_EQ(state, 0);
}

void WholeStore::KeepRows(CTVLClientSmbOpr& store) {
  constexpr char kSchema[] = "customer-D8 total-F7.2";
  constexpr int kLength = 13;
  CTVLCtreeRecord order;
  ASSERT_EQ(order.Attach(kSchema, kLength), 1);
  CTVLCtreeRs orders(&store);
  ASSERT_EQ(orders.InitAndOpen(Arg("orders"), kLength, 6, 4), TVL_OK);
  for (const char* key : {"A1", "A2", "B1"}) {
    ASSERT_EQ(orders.AddNew(key, "", nullptr), 1);
    ASSERT_EQ(orders.Attach(&order, -1), 1);
    EXPECT_EQ(orders.SetFieldValueByName("customer", key), 1);
    EXPECT_EQ(orders.SetFieldValueByName("total", "-12.34"), 1);
  }
  EXPECT_EQ(orders.WriteTheBlock(), TVL_OK);
  orders.Close();

  ASSERT_EQ(orders.Open(Arg("orders")), TVL_OK);
  ASSERT_EQ(orders.ReadKeyPrefiz(Arg("A")), 1);
  EXPECT_EQ(orders.Count(), 2);
  char text[16] = {};
  ASSERT_TRUE(orders.Last() == 1 && orders.Attach(&order, -1) == 1);
  EXPECT_EQ(orders.GetFieldValueByName("customer", text), 1);
  EXPECT_STREQ(text, "A2");
  EXPECT_EQ(orders.GetFieldValueByName("total", text), 1);
  EXPECT_STREQ(text, "-12.34");
  EXPECT_EQ(orders.DeleteKeyPrefiz(Arg("A\x01\x02")), TVL_OK);
  ASSERT_EQ(orders.ReadKeyPrefiz(Arg("A\x01"
                                     "B")),
            1);
  ASSERT_EQ(orders.Count(), 1);
  EXPECT_STREQ(orders.Key1(0), "B1    ");
  orders.Close();

  int handle = 0;
  int lengths[3] = {};
  ASSERT_EQ(store.CTFileOpen(Arg("orders"), handle, lengths[0], lengths[1], lengths[2]), TVL_OK);
  EXPECT_EQ(lengths[0] * 100 + lengths[1] * 10 + lengths[2], 1364);
  EXPECT_EQ(store.CTFileClose(handle), TVL_OK);
}

void WholeStore::CallTheServer() {
  Process server(
      {{TVL_SERVER_PROGRAM, "--config", folder_.Host("store/tvl.ini"), "--listen", "127.0.0.1:0"}});
  ASSERT_TRUE(server.ReadErrorsUntil("listen") && server.ReadErrorsUntil("\n"));
  const string& log = server.Errors();
  const auto port = static_cast<unsigned int>(std::stoul(log.substr(log.rfind(':') + 1)));
  LockAnswer held = Lock("ORD2");  // on the directory
  EXPECT_EQ(held.state, 1);
  CTVLClientSmbOpr directory;
  ASSERT_EQ(directory.Open(Work(), Config(), Arg("dire")), TVL_OK);

  ASSERT_EQ(TVLCloseConnection(), TVL_OK);
  int state = -1;
  EXPECT_EQ(directory.Lock(Arg("ORD2"), &state, nullptr, nullptr, nullptr, nullptr, nullptr), TVL_OK);
  EXPECT_EQ(state, 1);  // the lock of the first connection ended with it
  ASSERT_EQ(TVLConnect2Tcp(Work(), Arg(""), Arg("127.0.0.1"), port, Arg("netw"), Arg("")), TVL_OK);
  char name[64] = {};
  EXPECT_EQ(TVLConnectionInfos(name, nullptr, nullptr), TVL_OK);
  EXPECT_STREQ(name, "acme");
  held = Lock("ORD2");
  EXPECT_EQ(held.state, 2);
  EXPECT_EQ(held.pid, getpid());
  EXPECT_EQ(Lock("ORD3").state, 1);
  EXPECT_EQ(directory.Lock(Arg("ORD3"), &state, nullptr, nullptr, nullptr, nullptr, nullptr), TVL_OK);
  EXPECT_EQ(state, 2);

  folder_.Write("work/wire.txt", "over the wire");
  EXPECT_EQ(Moved(TVLPutFile, "wire.txt"), 1);
  EXPECT_EQ(Moved(TVLPutFile, "wire.txt"), 0);
  EXPECT_EQ(folder_.Read("store/wire.txt"), "over the wire");
  EXPECT_EQ(Moved(TVLGetFile, "packs/upd10.exe"), 1);
  EXPECT_TRUE(folder_.Exists("work/packs/upd10.exe"));
  ASSERT_EQ(TVLCloseConnection(), TVL_OK);
  ASSERT_TRUE(server.ReadErrorsUntil(" end "));
  EXPECT_EQ(directory.Lock(Arg("ORD3"), &state, nullptr, nullptr, nullptr, nullptr, nullptr), TVL_OK);
  EXPECT_EQ(state, 1);
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Finish().exit, 0);
}

TEST_F(WholeStore, ServesAnApplication) {
  EXPECT_EQ(TVLConnect2Dir(Work(), Arg(folder_.Host("none.ini")), Arg("appl")), TVL_ERR_ROOT_UNDEFINED);
  ASSERT_EQ(TVLConnect2Dir(Work(), Config(), Arg("appl")), TVL_OK);
  char short_name[64] = {};
  char long_name[256] = {};
  int instance = 0;
  EXPECT_EQ(TVLConnectionInfos(short_name, long_name, &instance), TVL_OK);
  EXPECT_STREQ(short_name, "acme");
  EXPECT_STREQ(long_name, "Acme and Sons");
  EXPECT_EQ(instance, 1);
  MoveFiles();
  Pack();
  ShareLocks();
  CallTheServer();

  CTVLClientSmbOpr store;
  ASSERT_EQ(store.Open(Work(), Config(), Arg("tool")), TVL_OK);
  KeepRows(store);
  EXPECT_EQ(store.Close(), TVL_OK);
  EXPECT_EQ(TVLCloseConnection(), TVL_ERR_NOT_CONNECTED);
}

}  // namespace
