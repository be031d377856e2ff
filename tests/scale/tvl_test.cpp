#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "scale/scale.h"
#include "support/process.h"

// The program tvl on a store whose tables are in PostgreSQL.

namespace {

namespace fs = std::filesystem;

class TvlTest : public ScaleTest {
 protected:
  [[nodiscard]] ProcessResult Tvl(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {TVL_PROGRAM, "--config", Store("tvl.ini")});
    return RunProcess({arguments, {{"PGSERVICEFILE", getenv("PGSERVICEFILE")}}, folder_.Host()});
  }

  [[nodiscard]] std::string Store(const std::string& name = {}) const {
    return folder_.Host("store/" + name);
  }

  void Init(const std::vector<std::string>& more = {"--asynchronous-locks"}, int exit = 0) const {
    std::vector<std::string> arguments = {"init", "--postgresql", "main", "--schema", schema_, Store()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ProcessResult result = Tvl(arguments);
    EXPECT_EQ(result.exit, exit) << result.err;
  }

  void Expect(const std::vector<std::string>& arguments, int exit, const std::string& text) const {
    const ProcessResult result = Tvl(arguments);
    EXPECT_EQ(result.exit, exit) << result.out << result.err;
    EXPECT_NE((result.out + result.err).find(text), std::string::npos) << result.out << result.err;
  }
};

TEST_F(TvlTest, CreatesStoreWholeOrNotAtAll) {
  Init({}, 1);  // the server has no standby
  EXPECT_EQ(folder_.Tree("store"), (std::vector<std::string>{"tmp", "tmp/locks", "tmp/procs"}));
  Init();
  EXPECT_NE(folder_.Read("store/tables.ini").find("service=main"), std::string::npos);
  EXPECT_TRUE(folder_.Read("store/tmp/locks/dtlocks.dat").starts_with("TVLTABLE 1"));
  Expect({"lock", "job", "--", "true"}, 0, "");
  Expect({"doctor"}, 0, "locks may be lost with the server");
}

// Markers are on the share, locks in the server: a lock needs both.
TEST_F(TvlTest, ExitsWith5WhileServerIsUnreachable) {
  Init();
  Server().Stop();
  for (const char* command : {"lock", "locks", "status"}) {
    SCOPED_TRACE(command);
    std::vector<std::string> arguments = {command};
    if (arguments[0] == "lock") arguments.insert(arguments.end(), {"job", "--", "touch", "ran"});
    Expect(arguments, 5, "cannot be reached");
  }
  Expect({"doctor"}, 1, "cannot be reached");
  Server().Start();
  EXPECT_FALSE(folder_.Exists("ran"));
  Expect({"locks"}, 0, "");
}

TEST_F(TvlTest, MovesListsAndDropsTables) {
  Init();
  const std::vector<std::string> write = {"table", "write", "a", "--schema", "n-D4", "--key1", "k", "n=1"};
  Expect({"table", "create", "a", "--key1", "4", "--record", "4"}, 0, "");
  Expect(write, 0, "1 row");
  Expect({"get", "a.dat", "--as", folder_.Host("got")}, 0, "points to a table in PostgreSQL");
  Expect({"table", "gc"}, 0, "all tables have a data file");
  Expect({"table", "move", "a", "--to", "sqlite"}, 0, "moved to a file");
  Expect({"table", "read", "a"}, 0, "k");
  Expect({"doctor"}, 0, "tvl table gc");
  Expect({"table", "gc", "--drop", "--days", "0"}, 0, "since now");
  Expect({"table", "gc", "--drop"}, 0, "for 0 days");
  Expect({"table", "gc", "--drop", "--days", "0"}, 0, "; dropped");
  Expect({"table", "gc"}, 0, "all tables have a data file");
  Expect({"table", "move", "a", "--to", "postgresql"}, 0, "moved to PostgreSQL");

  fs::rename(Store("a.dat"), Store("old"));
  fs::copy(Store("old"), Store("a.dat"));
  Expect({"table", "read", "a"}, 6, "'tvl table adopt'");
  Expect({"doctor"}, 0, "tvl table adopt");
  Expect({"table", "adopt", "a"}, 0, "adopted");
  Expect({"table", "read", "a"}, 0, "k");

  Expect({"table", "move", "tmp/locks/dtlocks", "--to", "sqlite"}, 0, "moved to a file");
  Expect({"lock", "job", "--", "true"}, 0, "");
  Expect({"table", "move", "tmp/locks/dtlocks", "--to", "postgresql"}, 0, "moved to PostgreSQL");
  Expect({"lock", "job", "--", "true"}, 0, "");
}

}  // namespace
