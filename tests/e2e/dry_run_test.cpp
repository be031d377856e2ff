// Runs every command with -n and compares everything below the test's folder before and after.

#include <filesystem>
#include <optional>
#include <set>
#include <sstream>

#include "e2e/file_hold.h"
#include "e2e/tvl_runner.h"

namespace {

constexpr char kSchema[] = "name-D4 total-F7.2";

class DryRun : public TvlTest {
 protected:
  DryRun() {
    folder.Write("work/t/new", "new");
    for (const char* name : {"work/t/same", "store/t/same"}) folder.Write(name, "same");
    folder.Make("work/t/hollow");
    folder.Write("work/docs/new", "other");
    folder.Write("work/rows.csv", "key1,name,total\nB1,b,2.50\n");
    folder.Write("store/docs/a", "a");
    folder.Write("store/docs/sub/b", "b");
    folder.Write("store/held", "held");
    folder.Write("store/upd10.exe", "@versione=5.3@");
    Expect(0, {"env", "set", "Colour", "green"});
    Expect(0, {"table", "create", "orders", "--key1", "4", "--schema", kSchema});
    Expect(0, {"table", "write", "orders", "--schema", kSchema, "--key1", "A1", "name=a"});
    held_.emplace(folder.Host("store/held"));
  }

  // Returns the names that differ between `before` and the current folder.
  Words ChangesSince(const Tree& before) const {
    const Tree now = SnapshotOf(folder.Host());
    Words names;
    const auto compare = [&names](const Tree& one, const Tree& other) {
      for (const auto& [name, state] : one) {
        const auto found = other.find(name);
        if (found == other.end() || found->second != state) names.push_back(name);
      }
    };
    compare(before, now);
    compare(now, before);
    return names;
  }

 private:
  std::optional<FileHold> held_;
};

TEST_F(DryRun, NoCommandChangesAnything) {
  const std::vector<Row> rows = {
      {0, {"init", "fresh"}},
      {0, {"info"}},
      {0, {"config", "show"}},
      {0, {"config", "check"}},
      {0, {"get", "-r", "docs"}, {"docs/a: would be transferred"}},
      {0,
       {"put", "-r", "t"},
       {"t/hollow: folder would be created\nt/new: would be transferred\n"
        "1 file would be transferred (3 B), 1 already the same, 1 empty folder\n"}},
      {0, {"get", "-f", "t/same"}, {"t/same: would be transferred\n"}},
      {1, {"put", "t/new", "--as", "held"}, {"code 22"}},
      {0, {"ls", "-l", "docs"}},
      {0, {"mkdir", "-p", "x/y"}},
      {0, {"rm", "-r", "docs"}},
      {4, {"rm", "held"}},
      {0, {"mv", "docs", "moved"}},
      {4, {"mv", "held", "moved"}},
      {0, {"cp", "-r", "docs", "copy"}},
      {1, {"cp", "docs/a", "held"}, {"code 22"}},
      {0, {"sync", "pull", "docs", "docs", "--delete"}},
      {0,
       {"sync", "push", "docs", "docs", "--delete"},
       {"plan: to delete  3  2 B\n", "\nsub: would be deleted\n", "\nnew: would be copied\n"}},
      {0, {"sync", "push", "x/y", "t"}, {"\nhollow: folder would be created\n"}},
      {0, {"sync", "run", "plan.json"}, {"\nhollow: folder would be created\n"}},
      {0, {"hash", "t/new"}},
      {0, {"lock", "ORD1", "--", "touch", "touched"}},
      {4, {"lock", "HELD", "--", "touch", "touched"}, {"HELD"}},
      {0, {"unlock", "ORD1"}},
      {0, {"locks"}, {"HELD"}},
      {0, {"who"}},
      {0, {"table", "create", "new", "--key1", "4", "--schema", kSchema}},
      {0, {"table", "create", "orders", "--replace", "--key1", "4", "--schema", kSchema}},
      {0, {"table", "info", "orders"}},
      {0, {"table", "move", "orders", "--to", "postgresql"}, {"would be moved"}},
      {0, {"table", "adopt", "orders"}, {"would be adopted"}},
      {0, {"table", "fork", "orders"}, {"would be given a copy"}},
      {1, {"table", "gc"}, {"no tables.ini"}},
      {0, {"table", "read", "orders", "--schema", kSchema}, {"A1"}},
      {0, {"table", "write", "orders", "--schema", kSchema, "--key1", "C1", "name=c"}},
      {0, {"table", "delete", "orders", "A1"}},
      {0, {"table", "import", "orders", "rows.csv", "--schema", kSchema}},
      {0, {"table", "export", "orders", "--schema", kSchema}, {"A1"}},
      {0, {"env", "get", "Colour"}},
      {0, {"env", "set", "Colour", "blue"}},
      {0, {"env", "unset", "Colour"}},
      {6, {"env", "unset", "none"}},
      {0, {"env", "list"}},
      {0, {"packs", "upd"}},
      {2, {"ping"}, {"ping needs a server"}},
      {0, {"version", folder.Host("store/upd10.exe")}},
      {2, {"doctor", "--fix"}},
      {0, {"backup", folder.Host("saved")}, {"would be backed up"}},
      {1, {"restore", folder.Host("store"), folder.Host("new")}, {"not a complete backup"}},
      {0, {"status"}, {"parts of the store"}},
      {0, {"doctor"}, {"SafeOnTransfert"}},
  };
  Process holder(Start({"lock", "HELD", "--", "sh", "-c", "echo locked >&2; exec sleep 60"}));
  ASSERT_TRUE(holder.ReadErrorsUntil("locked"));
  Expect(0, {"sync", "push", "x/y", "t", "--plan", "plan.json"});
  const std::vector<Words> commands = AllCommands();
  std::set<Words> missing(commands.begin(), commands.end());
  const Tree before = SnapshotOf(folder.Host());
  for (Row row : rows) {
    for (std::size_t words = 1; words <= 2; ++words)
      missing.erase(Words(row.arguments.begin(), row.arguments.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                                             words, row.arguments.size()))));
    row.arguments.insert(row.arguments.begin(), "-n");
    Expect(row.exit, row.arguments, row.output);
    EXPECT_EQ(ChangesSince(before), Words()) << testing::PrintToString(row.arguments);
  }
  EXPECT_TRUE(missing.empty()) << testing::PrintToString(missing);
}

TEST_F(TvlTest, DryRunNeedsNoTemporaryFolder) {
  folder.Write("store/s/far", "far");
  std::filesystem::remove_all(folder.Host("store/tmp"));
  const Tree before = SnapshotOf(folder.Host());
  ExpectAll({{0, {"-n", "--work", folder.Host("missing"), "get", "s/far"}, {"s/far: would be transferred\n"}},
             {0, {"-n", "sync", "pull", "s", "not/there/yet"}},
             {6, {"-n", "sync", "pull", "none", "x"}},
             {0, {"config", "show"}}});
  EXPECT_EQ(SnapshotOf(folder.Host()), before);
}

}  // namespace
