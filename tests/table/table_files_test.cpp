#include <tvlclient/smb_opr.h>

#include "directory/table_keys.h"
#include "support/mounted_folder.h"
#include "support/store_test.h"
#include "transfer/core.h"

namespace {

using Keys = std::vector<string>;

constexpr int kRecord = 5;
constexpr int kKey1 = 4;
constexpr int kKey2 = 2;
constexpr int kRow = kRecord + kKey1 + kKey2 + 2;

string Filled(string text, std::size_t width) {
  text.resize(width, ' ');
  return text;
}

string Row(const string& key1, const string& key2, const string& record) {
  return Filled(key1, kKey1) + '\0' + Filled(key2, kKey2) + '\0' + Filled(record, kRecord);
}

// Converts a list of keys written with ',' and ';' to the bytes 1 and 2 that the calls expect.
string Marked(string list) {
  std::replace(list.begin(), list.end(), ',', '\1');
  std::replace(list.begin(), list.end(), ';', '\2');
  return list;
}

class TableFiles : public StoreTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(store_.Connect(connection_), TVL_OK);
    ASSERT_EQ(connection_.CTFileInit(Arg("t.dat"), handle_, kRecord, kKey1, kKey2), TVL_OK);
  }

  int Write(const string& rows, int count) {
    CCore block;
    block.Append(rows.data(), static_cast<int>(rows.size()));
    return connection_.CTFileWrite(handle_, count > 1 ? 1 : 0, count, &block);
  }

  void WriteKeys(const Keys& keys) {
    for (const string& key : keys) ASSERT_EQ(Write(Row(key, key.substr(0, 1), key), 1), TVL_OK);
  }

  // Returns the searched keys of the rows that a read returns; the other key of each is blank.
  Keys Read(int prefix, const string& list, int keyNumber = 1) {
    CCore block;
    int rows = -1;
    EXPECT_EQ(connection_.CTFileRead(handle_, prefix, rows, Arg(Marked(list)), keyNumber, &block), TVL_OK);
    EXPECT_EQ(block.length, static_cast<std::uint32_t>(rows) * kRow);
    Keys found;
    for (int row = 0; row < rows; ++row) {
      const string image(reinterpret_cast<char*>(block.data) + std::ptrdiff_t{row} * kRow, kRow);
      const string key = keyNumber == 1 ? image.substr(0, kKey1) : image.substr(kKey1 + 1, kKey2);
      const string record = image.substr(kKey1 + kKey2 + 2);
      EXPECT_EQ(image, keyNumber == 1 ? Row(key, "", record) : Row("", key, record));
      found.push_back(key.substr(0, key.find_last_not_of(' ') + 1));
    }
    return found;
  }

  int Delete(int prefix, const string& list) {
    return connection_.CTFileDelete(handle_, prefix, Marked(list).data());
  }

  // Opens a table of this connection. Returns its lengths, or only the code of the failure.
  std::vector<int> Open(const string& name, int& handle) {
    std::vector<int> lengths = {-1, -1, -1};
    const int code = connection_.CTFileOpen(Arg(name), handle, lengths[0], lengths[1], lengths[2]);
    return code == TVL_OK ? lengths : std::vector<int>{code};
  }

  CTVLClientSmbOpr connection_;
  int handle_ = -1;
};

TEST_F(TableFiles, OneTableHasOneHandleForAllSpellings) {
  fs::create_directory(store_.root_host + "sub");
  int handle = -1;
  ASSERT_EQ(connection_.CTFileInit(Arg("sub/x.dat"), handle, 30, 6, 0), TVL_OK);
  for (const char* name : {"sub\\x.dat", "SUB/X.DAT", "sub/x.dat"}) {
    int again = -1;
    EXPECT_EQ(Open(name, again), (std::vector{30, 6, 0}));
    EXPECT_EQ(again, handle);
  }
  const int codes[] = {TVL_OK, TVL_OK, TVL_OK, TVL_OK, TVL_ERR_SERVER_FILE};
  for (const int code : codes) EXPECT_EQ(connection_.CTFileClose(handle), code);
  EXPECT_EQ(connection_.CTFileClose(-1), TVL_ERR_SERVER_FILE);
}

TEST_F(TableFiles, ClosingOneTableKeepsTheOthers) {
  int middle = -1;
  int last = -1;
  ASSERT_EQ(connection_.CTFileInit(Arg("middle"), middle, 10, 4, 0), TVL_OK);
  ASSERT_EQ(connection_.CTFileInit(Arg("last"), last, kRecord, kKey1, kKey2), TVL_OK);
  EXPECT_EQ(connection_.CTFileClose(middle), TVL_OK);
  WriteKeys({"a"});
  std::swap(handle_, last);
  WriteKeys({"a"});
  handle_ = middle;
  EXPECT_EQ(Write("", 0), TVL_ERR_SERVER_FILE);
  EXPECT_EQ(Delete(0, "a,"), TVL_ERR_SERVER_FILE);
  CCore block;
  int rows = 7;
  EXPECT_EQ(connection_.CTFileRead(middle, 1, rows, Arg("a"), 1, &block), TVL_ERR_SERVER_FILE);
  EXPECT_EQ(rows, 0);
}

TEST_F(TableFiles, ReadsByKeyAndByPrefix) {
  WriteKeys({"a1", "a2", "b1", "B2", "c"});
  const std::tuple<int, int, string, Keys> cases[] = {
      {1, 1, "a", {"a1", "a2"}},
      {1, 1, "b", {"b1"}},  // with case
      {1, 1, ",,", {}},
      {1, 1, "x,c,a2", {"c", "a2"}},          // in the order of the list
      {1, 1, ",a,,a1,", {"a1", "a2", "a1"}},  // overlapping
      {1, 1, "abcdefg", {}},                  // longer than the key
      {1, 1, string(2000, 'a'), {}},
      {0, 1, "a1,a,a3,c   ", {"a1", "c"}},  // a short key is padded
      {0, 2, "a", {"a"}},                   // the first of two
      {1, 2, "a", {"a"}},                   // the next read continues after the key found
      {1, 3, "a", {}},
  };
  for (const auto& [prefix, keyNumber, list, found] : cases)
    EXPECT_EQ(Read(prefix, list, keyNumber), found) << list;
}

TEST(ReadList, IsCutAtMaximumLength) {
  const string text = Marked(string(1021, 'x') + ",yy");
  tvl::ReadList list(text.c_str());
  EXPECT_EQ(list.Next().size(), 1021U);
  EXPECT_EQ(list.Next(), "y");
  EXPECT_EQ(list.Next(), "");
}

TEST_F(TableFiles, AppendsRowsToBlock) {
  WriteKeys({"a1"});
  CCore block;
  block.Append("before", 6);
  int rows = 0;
  ASSERT_EQ(connection_.CTFileRead(handle_, 1, rows, Arg("a"), 1, &block), TVL_OK);
  EXPECT_EQ(string(reinterpret_cast<char*>(block.data), block.length), "before" + Row("a1", "", "a1"));
}

TEST_F(TableFiles, WritesRowByRowUntilOneFails) {
  EXPECT_EQ(Write("", 0), TVL_OK);
  EXPECT_EQ(Write(Row("a1", "x", "1") + Row("a2", "x", "2"), 2), TVL_OK);
  const string cut = Row("a3", "x", "3") + Row("a4", "x", "4");
  CCore block;
  block.Append(cut.data(), static_cast<int>(cut.size()) - 1);
  EXPECT_EQ(connection_.CTFileWrite(handle_, 1, 2, &block), TVL_ERR_RS_WRITE);
  EXPECT_EQ(block.position, block.length);
  EXPECT_EQ(Read(1, "a"), (Keys{"a1", "a2", "a3"})) << "the rows before the failing one are kept";
}

TEST_F(TableFiles, DeletesByKeysAndByPrefix) {
  const std::tuple<int, int, const char*, Keys> cases[] = {
      {0, TVL_OK, "a1,a;", {"a2", "b1", "b2"}},
      {0, TVL_OK, "a1,;b1,", {"a2", "b2"}},                       // by key 1 alone
      {0, TVL_OK, ",b;", {"a1", "a2"}},                           // by key 2 alone
      {0, TVL_ERR_RS_DELETE, "a1,b;", {"a1", "a2", "b1", "b2"}},  // both must match
      {0, TVL_ERR_RS_DELETE, "a1,;zz,;b1,", {"a2", "b1", "b2"}},
      {0, TVL_OK, "a1,a;no entry", {"a2", "b1", "b2"}},
      {0, TVL_OK, "", {"a1", "a2", "b1", "b2"}},
      {0, TVL_ERR_RS_DELETE, ",;", {"a1", "a2", "b1", "b2"}},  // no key at all
      {1, TVL_OK, "a,ignored;", {"b1", "b2"}},
      {1, TVL_OK, "A,;x,;b1,", {"a1", "a2", "b2"}},
      {1, TVL_OK, ",;", {"a1", "a2", "b1", "b2"}},
      {1, TVL_OK, "a1   ,;", {"a1", "a2", "b1", "b2"}},  // longer than the key
      {1, TVL_OK, "a1  ,;", {"a2", "b1", "b2"}},
  };
  for (const auto& [prefix, code, list, left] : cases) {
    WriteKeys({"a1", "a2", "b1", "b2"});
    EXPECT_EQ(Delete(prefix, list), code) << list;
    EXPECT_EQ(Read(1, "a,b"), left) << list;
  }
}

TEST_F(TableFiles, BlankKeysAreOrdinaryKeys) {
  WriteKeys({"", "  a", "b"});
  EXPECT_EQ(Read(1, " "), (Keys{"", "  a"}));
  EXPECT_EQ(Delete(0, "    ,;"), TVL_OK);
  EXPECT_EQ(Read(1, " ,b"), (Keys{"  a", "b"}));
  WriteKeys({""});
  EXPECT_EQ(Delete(1, " ,;"), TVL_OK);
  EXPECT_EQ(Read(1, " ,b"), Keys{"b"});
}

// Each reader ends and reports the damage, even after valid rows, because it cannot know what is missing.
TEST_F(TableFiles, ReportsDamagedRow) {
  WriteKeys({"a1", "a2", "b1"});
  ASSERT_EQ(connection_.CTFileClose(handle_), TVL_OK);
  string bytes = folder_.Read("store/t.dat");
  const std::size_t row = bytes.find(
      "\x04\x14\x10\x16"
      "a1  ");
  ASSERT_NE(row, string::npos);
  bytes[row + 1] = '\x15';  // key 1 becomes a text
  folder_.Write("store/t.dat", bytes);
  ASSERT_EQ(Open("t.dat", handle_).size(), 3U);
  EXPECT_EQ(Read(0, "a2"), Keys{"a2"});
  EXPECT_EQ(connection_.MetTableDamage(), 0);
  for (const int prefix : {0, 1}) {
    EXPECT_EQ(Read(prefix, "a1"), Keys{});
    EXPECT_EQ(connection_.MetTableDamage(), 1) << prefix;
  }
  EXPECT_EQ(Delete(1, "a,;"), TVL_OK);
  EXPECT_EQ(connection_.MetTableDamage(), 1);
}

TEST_F(TableFiles, ReportsTablesThatCannotBeOpenedOrCreated) {
  int handle = 77;
  const string longName(300, 'n');
  for (const string& name : {string("missing.dat"), string("tvl.ini"), longName})
    EXPECT_EQ(Open(name, handle), std::vector<int>{TVL_ERR_SERVER_FILE}) << name;
  for (const string& name : {string("no/folder.dat"), longName})
    EXPECT_EQ(connection_.CTFileInit(Arg(name), handle, 10, 4, 0), TVL_ERR_DELETE_FILE) << name;
  EXPECT_EQ(handle, 77);
  EXPECT_EQ(connection_.CTFileInit(Arg("t.dat"), handle, -1, 4, 0), TVL_ERR_DELETE_FILE);
  EXPECT_EQ(connection_.CTFileClose(handle_), TVL_ERR_SERVER_FILE) << "its entry is gone";
  EXPECT_EQ(connection_.CTFileInit(Arg("t.dat"), handle, kRecord, kKey1, kKey2), TVL_OK);
}

TEST_F(TableFiles, RecreatedTableInvalidatesHandles) {
  WriteKeys({"a1"});
  int made = -1;
  int again = -1;
  ASSERT_EQ(Open("t.dat", again).size(), 3U);
  ASSERT_EQ(connection_.CTFileInit(Arg("T.DAT"), made, 9, kKey1, kKey2), TVL_OK);
  EXPECT_NE(made, handle_);
  EXPECT_EQ(folder_.Exists("store/T.DAT"), kIgnoresCase) << "the spelling first opened names the files";
  EXPECT_EQ(connection_.CTFileClose(handle_), TVL_ERR_SERVER_FILE);
  EXPECT_EQ(Open("t.dat", again), (std::vector{9, kKey1, kKey2}));
  EXPECT_EQ(again, made);
  for (const int code : {TVL_OK, TVL_OK, TVL_ERR_SERVER_FILE}) EXPECT_EQ(connection_.CTFileClose(made), code);
}

TEST_F(TableFiles, HandlesEndWithTheirConnection) {
  CTVLClientSmbOpr other;
  ASSERT_EQ(store_.Connect(other), TVL_OK);
  ASSERT_EQ(connection_.Close(), TVL_OK);
  EXPECT_EQ(Write(Row("a1", "", ""), 1), TVL_ERR_RS_WRITE);
  EXPECT_EQ(Delete(0, "a1,"), TVL_ERR_RS_DELETE);
  int made = -1;
  EXPECT_EQ(other.CTFileInit(Arg("t.dat"), made, kRecord, kKey1, kKey2), TVL_OK) << "not open elsewhere";
  ASSERT_EQ(store_.Connect(connection_), TVL_OK);
  EXPECT_EQ(connection_.CTFileClose(handle_), TVL_ERR_SERVER_FILE);
}

// The rows fit into the engine's memory and the journal onto the disk, but the table does not.
TEST_F(TableFiles, WriteThatCannotBeCommittedFails) {
  const MountedFolder disk(store_.root_host + "/disk", "size=512k");
  if (!disk.IsMounted()) GTEST_SKIP() << "no disk can be mounted";
  constexpr int kRows = 100;
  ASSERT_EQ(connection_.CTFileInit(Arg("disk/t.dat"), handle_, 1000, kKey1, kKey2), TVL_OK);
  disk.FillUp(32768);
  string rows;
  for (int row = 0; row < kRows; ++row)
    rows += Filled(std::to_string(row), kKey1) + '\0' + Filled("", kKey2) + '\0' + string(1000, 'r');
  EXPECT_EQ(Write(rows, kRows), TVL_ERR_RS_WRITE);
}

}  // namespace
