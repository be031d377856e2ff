#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <tvlclient/tvlclient.h>

#include "support/helper_process.h"
#include "support/store.h"
#include "support/temp_folder.h"

namespace {

constexpr int kRecord = 5;
constexpr int kKey = 4;

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

TEST(SharedTable, InUseIsNobodyElsesToTake) {
  const TempFolder folder(TempFolder::Memory());
  const Store store(folder.Host());
  store.Make();
  folder.Make("work");
  CTVLClientSmbOpr connection;
  CTVLCtreeRs set(&connection);
  ASSERT_EQ(store.Connect(connection), TVL_OK);
  ASSERT_EQ(set.InitAndOpen(Arg("t.dat"), kRecord, kKey, 0), TVL_OK);
  ASSERT_EQ(set.AddNew("a", nullptr, "kept!"), 1);
  ASSERT_EQ(set.WriteTheBlock(), TVL_OK);
  EXPECT_EQ(HelperProcess({"take-away", folder.Host()}).Wait(), 0);
  EXPECT_EQ(set.ReadKeyPrefiz(Arg("a")), 1);
  EXPECT_EQ(set.Count(), 1);
  EXPECT_EQ(set.WriteTheBlock(), TVL_OK);
  set.Close();
  EXPECT_NE(HelperProcess({"take-away", folder.Host()}).Wait(), 0) << "nobody uses it any more";
}

}  // namespace
