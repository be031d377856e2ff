#include <string>
#include <vector>

#include "e2e/json_checker.h"
#include "e2e/tvl_runner.h"

namespace {

constexpr char kSchema[] = "number-D8 total-F7.2";

class TableTest : public TvlTest {
 protected:
  TableTest() { Expect(0, {"table", "create", "orders.dat", "--key1", "8", "--schema", kSchema}); }

  ProcessResult Import(int exit, const std::vector<std::string>& options, const std::string& input) const {
    std::vector<std::string> command = options;
    command.insert(command.end(), {"table", "import", "orders.dat", "-", "--schema", kSchema});
    ProcessStart start = Start(command);
    start.input = input;
    const ProcessResult result = RunProcess(start);
    EXPECT_EQ(result.exit, exit) << result.err;
    return result;
  }

  [[nodiscard]] std::string Export(const std::vector<std::string>& prefixes = {}) const {
    std::vector<std::string> command = {"table", "export", "orders.dat", "--schema", kSchema};
    command.insert(command.end(), prefixes.begin(), prefixes.end());
    return Expect(0, command).out;
  }
};

TEST_F(TableTest, RowsGoInAndComeOutTheSame) {
  const std::string head = "key1,number,total\n";
  const std::string rows = "A1,\"a, \"\"b\"\"\",12.50\nA2,,-7\nB1,x,0\n";
  Import(0, {}, head + rows);
  EXPECT_EQ(Export(), head + rows);
  EXPECT_EQ(Export({"B"}), head + "B1,x,0\n");

  Expect(0, {"table", "write", "orders.dat", "--schema", kSchema, "--key1", "A2", "total=1.25"});
  Expect(0, {"table", "delete", "orders.dat", "B1"});
  EXPECT_EQ(Export(), head + "A1,\"a, \"\"b\"\"\",12.50\nA2,,1.25\n");

  const std::string json = Expect(0, {"--json", "table", "read", "orders.dat", "--schema", kSchema}).out;
  EXPECT_TRUE(AreJsonLines(json)) << json;
  Expect(0, {"table", "delete", "--prefix", "orders.dat", "A"});
  EXPECT_EQ(Export(), head);
  Import(0, {"--json"}, json);
  EXPECT_EQ(Export(), head + "A1,\"a, \"\"b\"\"\",12.50\nA2,,1.25\n");
}

TEST_F(TableTest, ABadLineIsNamedAndNothingIsWritten) {
  const std::string good = "key1,number,total\nA1,a,1\n";
  struct {
    std::vector<std::string> options;
    std::string input;
    const char* line;
  } cases[] = {
      {{}, good + "A2,b\n", "line 3"},
      {{}, good + ",b,1\n", "line 3"},
      {{}, good + "A2,b,12345678901\n", "line 3"},
      {{}, good + "A23456789,b,1\n", "line 3"},
      {{}, "key1,nothing\nA1,a\n", "line 1"},
      {{"--json"}, "{\"key1\":\"A1\"}\n{\"key1\":", "line 2"},
  };
  for (const auto& row : cases) {
    const ProcessResult result = Import(1, row.options, row.input);
    EXPECT_NE(result.err.find(row.line), std::string::npos) << result.err;
    EXPECT_EQ(Export(), "key1,number,total\n");
  }
}

TEST_F(TableTest, WhatIsWrongIsSaid) {
  Expect(6, {"table", "read", "missing.dat"});
  Expect(2, {"table", "create", "x.dat", "--key1", "4", "--schema", "no schema"});
  Expect(2, {"table", "write", "orders.dat", "--schema", kSchema, "--key1", "A", "nothing=1"});
  Expect(2, {"table", "read", "orders.dat", "--schema", "wide-D99"});
  Expect(1, {"table", "delete", "orders.dat", "A1"});
}

}  // namespace
