#include "engine/engine.h"
#include "support/helper_process.h"

namespace {

TEST_F(EngineTest, RefusesTablesInPostgresql) {
  constexpr char kRefusal[] = "tables in PostgreSQL are not offered on Windows";
  folder_.Write("tables.ini",
                "engine=postgresql\nservice=s\nschema=s\nstore=0123456789abcdef0123456789abcdef\n");
  folder_.Write(
      "remote.dat",
      "TVLTABLE 1\nengine=postgresql\nid=0123456789abcdef0123456789abcdef\nrecord=20\nkey1=4\nkey2=3\nend\n");
  const string drive = folder_.Logical().substr(0, 3);
  ASSERT_EQ(PermitTables(drive.c_str(), folder_.Logical("tables.ini").c_str()), 1);
  EXPECT_GT(Open(), 0) << "a table in a file";
  EXPECT_LT(IOpen(folder_.Host("remote.dat").c_str()), 0);
  EXPECT_STREQ(GetLastErrorText(), kRefusal);
  for (const auto refused : {AdoptTable, ForkTable}) {
    EXPECT_EQ(refused(folder_.Host("remote.dat").c_str()), 0);
    EXPECT_STREQ(GetLastErrorText(), kRefusal);
  }
  EXPECT_NE(CreateArchive(folder_.Host("new.dat").c_str(), 20, 4, 3), 0);
  EXPECT_STREQ(GetLastErrorText(), kRefusal);
  EXPECT_FALSE(folder_.Exists("new.dat"));
}

// SQLite takes another encoding of names than the system.
TEST_F(EngineTest, RollsKilledBatchBackWhateverItsTableIsCalled) {
  const string path = folder_.Host("gro\xDF.dat");
  ASSERT_EQ(CreateArchive(path.c_str(), 4000, 8, 0), 0);
  ASSERT_EQ(Write(IOpen(path.c_str()), KeyOf(0), "", "kept"), 1);
  CloseAll();
  HelperProcess writer({"spill-and-wait", path});
  ASSERT_EQ(writer.Hear(), "spilled");
  writer.Signal(SIGKILL);
  writer.Wait();
  EXPECT_EQ(All(IOpen(path.c_str())), Rows{KeyOf(0) + "|kept"}) << GetLastErrorText();
}

}  // namespace
