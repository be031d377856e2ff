#include <string>

#include "e2e/tvl_runner.h"

namespace {

constexpr char kSchema[] = "number-D8 total-F7.2";

class TableTest : public TvlTest {
 protected:
  TableTest() { Expect(0, {"table", "create", "orders.dat", "--key1", "8", "--schema", kSchema}); }

  void Import(int exit, const std::string& option, const std::string& input, const char* told = "") const {
    ProcessStart start = Start({option, "table", "import", "orders.dat", "-", "--schema", kSchema});
    start.input = input;
    const ProcessResult result = RunProcess(start);
    EXPECT_EQ(result.exit, exit) << result.err;
    EXPECT_NE(result.err.find(told), std::string::npos) << told << result.err;
  }

  [[nodiscard]] std::string Export(const std::string& prefix = "") const {
    Words command = {"table", "export", "orders.dat", "--schema", kSchema};
    if (!prefix.empty()) command.push_back(prefix);
    return Expect(0, command).out;
  }
};

TEST_F(TableTest, RowsGoInAndComeOutTheSame) {
  const std::string head = "key1,number,total\n";
  const std::string rows = "A1,\"a, \"\"b\"\"\",12.50\nA2,,-7\nB1,x,0\n";
  Import(0, "-q", head + rows);
  EXPECT_EQ(Export(), head + rows);
  EXPECT_EQ(Export("B"), head + "B1,x,0\n");

  Expect(0, {"table", "write", "orders.dat", "--schema", kSchema, "--key1", "A2", "total=1.25"});
  Expect(0, {"table", "delete", "orders.dat", "B1"});
  const std::string left = head + "A1,\"a, \"\"b\"\"\",12.50\nA2,,1.25\n";
  EXPECT_EQ(Export(), left);
  const std::string json = ExpectJson(0, {"table", "read", "orders.dat", "--schema", kSchema});
  Expect(0, {"table", "delete", "--prefix", "orders.dat", "A"});
  EXPECT_EQ(Export(), head);
  Import(0, "--json", json);
  EXPECT_EQ(Export(), left);
}

TEST_F(TableTest, ABadLineIsNamedAndNothingIsWritten) {
  const std::string good = "key1,number,total\nA1,a,1\n";
  for (const char* line : {"A2,b\n", ",b,1\n", "A2,b,12345678901\n", "A23456789,b,1\n"})
    Import(1, "-q", good + line, "line 3");
  Import(1, "-q", "key1,nothing\nA1,a\n", "line 1");
  Import(1, "--json", "{\"key1\":\"A1\"}\n{\"key1\":", "line 2");
  ExpectAll({{6, {"table", "read", "missing.dat"}},
             {2, {"table", "create", "x.dat", "--key1", "4", "--schema", "no schema"}},
             {2, {"table", "write", "orders.dat", "--schema", kSchema, "--key1", "A", "nothing=1"}},
             {2, {"table", "read", "orders.dat", "--schema", "wide-D99"}},
             {1, {"table", "delete", "orders.dat", "A1"}}});
  EXPECT_EQ(Export(), "key1,number,total\n");
}

}  // namespace
