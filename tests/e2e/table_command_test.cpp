#include <string>

#include "e2e/tvl_runner.h"

namespace {

constexpr char kSchema[] = "number-D8 total-F7.2";

class TableCommand : public TvlTest {
 protected:
  TableCommand() { Expect(0, {"table", "create", "orders.dat", "--key1", "8", "--schema", kSchema}); }

  void Import(int exit, const std::string& option, const std::string& input, const char* output = "") const {
    ProcessStart start = Start({option, "table", "import", "orders.dat", "-", "--schema", kSchema});
    start.input = input;
    const ProcessResult result = RunProcess(start);
    EXPECT_EQ(result.exit, exit) << result.err;
    EXPECT_NE(result.err.find(output), std::string::npos) << output << result.err;
  }

  [[nodiscard]] std::string Export(const std::string& prefix = "") const {
    Words command = {"table", "export", "orders.dat", "--schema", kSchema};
    if (!prefix.empty()) command.push_back(prefix);
    return Expect(0, command).out;
  }
};

TEST_F(TableCommand, RowsAreReadBackUnchanged) {
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

TEST_F(TableCommand, BadLineIsReportedAndNothingIsWritten) {
  const std::string good = "key1,number,total\nA1,a,1\n";
  const struct {
    const char *format, *input, *output;
  } rows[] = {
      {"-q", "A2,b\n", "line 3: 2 values for 3 columns"},
      {"-q", ",b,1\n", "line 3: no value for key1"},
      {"-q", "A23456789,b,1\n", "line 3: key1: 'A23456789' is longer"},
      {"-q", "A2,\"2\nlines\",1\nA3,x,12,50\n", "line 5: 4 values"},
      {"-q", "A2,b,\"12,50\"\n", "line 3: field total: '12,50' is not a number"},
      {"-q", "A2,b,abc 123\n", "line 3: field total: 'abc 123' is not a number"},
      {"-q", "A2,b,1e3\n", "field total: '1e3' is not a number"},
      {"-q", "A2,b,.5\n", "field total: '.5' is not a number"},
      {"-q", "A2,b,1.505\n", "field total: '1.505' has more than 2 decimals"},
      {"-q", "A2,b,12345678\n", "field total: '12345678' has more than 7 digits"},
      {"-q", "A2,b,-1234567.89\n", "field total: '-1234567.89' needs more bytes"},
      {"-q", "A2,ninebytes,1\n", "field number: 'ninebytes' is longer than 8 bytes"},
      {"-q", "A2,\"b,1\n", "line 3: a quoted value is not closed"},
      {"-q", "A2,b,12", "line 3: the last line has no line end"},
      {"--json", "{\"key1\":\"A2\",\"total\":true}\n", "line 2: field total: true is neither"},
      {"--json", "{\"key1\":\"A2\",\"total\":1e3}\n", "field total: '1e3' is not a number"},
      {"--json", "{\"key1\":\"A2\",\"total\":1,\"total\":2}\n", "two values for total"},
      {"--json", "{\"key1\":", "line 2: not a JSON object"},
  };
  for (const auto& row : rows) {
    const bool json = row.format == std::string("--json");
    Import(1, row.format, (json ? "{\"key1\":\"A1\"}\n" : good) + row.input, row.output);
  }
  Import(1, "-q", "key1,nothing\nA1,a\n", "line 1: the schema has no field nothing");
  Import(1, "-q", "", "line 1: no column names");
  folder.Write("work/rows", good);
  const Words write = {"table", "write", "orders.dat", "--schema", kSchema, "--key1", "A"};
  const auto with = [](Words words, const std::string& last) {
    words.push_back(last);
    return words;
  };
  ExpectAll({{6, {"table", "read", "missing.dat"}},
             {2, {"table", "create", "x.dat", "--key1", "4", "--schema", "no schema"}},
             {2, with(write, "nothing=1")},
             {2, with(write, "total=12,50"), {"field total: '12,50' is not a number"}},
             {2, {"table", "import", "orders.dat", "rows", "rows", "--schema", kSchema}},
             {1, {"table", "import", "orders.dat", ".", "--schema", kSchema}, {"Is a directory"}},
             {1, {"table", "import", "orders.dat", "/proc/self/mem", "--schema", kSchema}, {"Input/output"}},
             {2, {"table", "read", "orders.dat", "--schema", "wide-D99"}},
             {1, {"table", "delete", "orders.dat", "A1"}}});
  EXPECT_EQ(Export(), "key1,number,total\n");
}

// A writer that is killed at any byte of a pipe, and a disk that is full at any size.
TEST_F(TableCommand, ImportIsAllOrNothing) {
  const std::string head = "key1,number,total\n";
  const std::string input = head + "A1,\"a, b\",12.50\nA2,,-7\n";
  for (std::size_t length = 0; length <= input.size(); ++length) {
    const std::string cut = input.substr(0, length);
    const bool whole = length >= head.size() && cut.ends_with('\n');
    Import(whole ? 0 : 1, "-q", cut);
    EXPECT_EQ(Export(), whole ? cut : head);
    if (whole && length > head.size()) Expect(0, {"table", "delete", "orders.dat", "--prefix", "A"});
  }

  const std::string schema = "text-D6000";
  Expect(0, {"table", "create", "wide.dat", "--key1", "4", "--schema", schema});
  std::string rows = "key1,text\n";
  for (int row = 1000; row < 2600; ++row) rows += std::to_string(row) + "," + std::string(6000, 'x') + "\n";
  folder.Write("work/rows.csv", rows);
  ProcessStart import = Start({});
  int failed = 0;
  for (int blocks = 20;; blocks *= 5, ++failed) {
    import.command = {"/bin/sh", "-c",
                      "trap '' XFSZ; ulimit -f " + std::to_string(blocks) +
                          "; exec " TVL_PROGRAM " table import wide.dat rows.csv --schema " + schema};
    if (RunProcess(import).exit == 0) break;
    ASSERT_LT(failed, 20);
    Expect(0, {"table", "info", "wide.dat"}, {"Rows:    0\n"});
  }
  EXPECT_GT(failed, 2);
  Expect(0, {"table", "info", "wide.dat"}, {"Rows:    1600\n"});
}

TEST_F(TableCommand, ExistingTablesAreReplacedOnlyOnRequest) {
  Import(0, "-q", "key1,number,total\nA1,a,1\n");
  folder.Write("store/text.dat", "a document");
  const Words create = {"table", "create", "orders", "--key1", "4", "--schema", kSchema};
  const auto with = [&create](std::size_t at, const Words& words) {
    Words changed = create;
    changed.resize(at);
    changed.insert(changed.end(), words.begin(), words.end());
    return changed;
  };
  ExpectAll({{1, create, {"--replace"}},
             {2, with(3, {"--replace", "--key1", "1024", "--schema", kSchema}), {"length of key 1"}},
             {2, with(7, {"--replace", "--record", "12"}), {"--record"}},
             {2, with(7, {"--replace", "--record", "6144"}), {"length of a record"}},
             {1,
              with(2, {"text.dat", "--replace", "--key1", "4", "--schema", kSchema}),
              {"cannot be opened as a table"}}});
  EXPECT_EQ(Export(), "key1,number,total\nA1,a,1\n");
  Expect(0, with(7, {"--replace"}));
  EXPECT_EQ(Export(), "key1,number,total\n");
}

TEST_F(TableCommand, DamagedRowIsAFailure) {
  Expect(0, {"table", "write", "orders.dat", "--schema", kSchema, "--key1", "A1", "total=1"});
  std::string bytes = folder.Read("store/orders.dat");
  const std::size_t row = bytes.find(
      "\x04\x1c\x0c\x26"
      "A1 ");
  ASSERT_NE(row, std::string::npos);
  bytes[row + 1] = '\x1d';  // a text instead of bytes
  folder.Write("store/orders.dat", bytes);
  ExpectAll({{1, {"table", "read", "orders.dat"}},
             {1, {"table", "info", "orders.dat"}},
             {1, {"table", "export", "orders.dat", "A"}},
             {1, {"table", "delete", "--prefix", "orders.dat", "A"}}});
}

}  // namespace
