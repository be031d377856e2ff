#include <climits>
#include <thread>

#include "engine/engine.h"

namespace {

string Upper(string text) {
  for (char& letter : text) letter = static_cast<char>(toupper(letter));
  return text;
}

TEST_F(EngineTest, FindsByBothKeysInAllModes) {
  const int table = Open();
  for (const char* key : {"b", "d", "f"}) ASSERT_EQ(Write(table, key, Upper(key), key), 1);
  const std::tuple<decltype(&ReadKeyEq), const char*, string> cases[] = {
      {ReadKeyEq, "d", "d"},    {ReadKeyEq, "c", ""},    {ReadKeyEq, "d   x", "d"}, {ReadKeyGt, "d", "f"},
      {ReadKeyGt, "f", ""},     {ReadKeyGt, "", "b"},    {ReadKeyGt, "da", "f"},    {ReadKeyGtEq, "d", "d"},
      {ReadKeyGtEq, "e", "f"},  {ReadKeyGtEq, "g", ""},  {ReadKeyLt, "d", "b"},     {ReadKeyLt, "b", ""},
      {ReadKeyLt, "~~~~", "f"}, {ReadKeyLtEq, "d", "d"}, {ReadKeyLtEq, "c", "b"},   {ReadKeyLtEq, "a", ""},
  };
  for (const auto& [read, key, found] : cases) {
    const string record = found.empty() ? "" : '|' + found;
    EXPECT_EQ(Read(read, table, 1, key), found + record) << key;
    EXPECT_EQ(Read(read, table, 2, Upper(key)), Upper(found) + record) << key;
  }
  for (const char* key : {"n", "l", "m"}) ASSERT_EQ(Write(table, key, "K", key), 1);
  EXPECT_EQ(Read(ReadKeyEq, table, 2, "K"), "K|l") << "the first of equal ones";
  EXPECT_EQ(Read(ReadKeyGtEq, table, 2, "K"), "K|l");
  EXPECT_EQ(Read(ReadKeyLtEq, table, 2, "K"), "K|n");
  EXPECT_EQ(Read(ReadKeyGt, table, 2, "K"), "");
}

TEST_F(EngineTest, ComparesKeysAsBytes) {
  const int table = Open();
  for (const char* key : {"\xe0", "a", "B", "a\x01", "1"}) ASSERT_EQ(Write(table, key, "", ""), 1);
  // A key that continues with a character below a blank sorts before the shorter key.
  EXPECT_EQ(All(table), (Rows{"1|", "B|", "a\x01|", "a|", "\xe0|"}));
}

TEST_F(EngineTest, LeavesBuffersUnchangedIfNothingIsFound) {
  const int table = Open();
  char key[8] = "no\0rest";
  char record[21] = "untouched";
  EXPECT_EQ(ReadKeyEq(table, 1, key, record), 0);
  EXPECT_EQ(std::memcmp(key, "no\0rest", sizeof key), 0);
  EXPECT_STREQ(record, "untouched");
  for (const int number : {0, 3, -1, INT_MAX}) EXPECT_EQ(ReadKeyEq(table, number, key, record), 0);
}

TEST_F(EngineTest, ReplacesRecordWithSameKey1) {
  const int table = Open();
  EXPECT_EQ(Write(table, "a", "x", "first"), 1);
  EXPECT_EQ(Write(table, "a", "y", "second"), 1);
  EXPECT_EQ(All(table), Rows{"a|second"});
  EXPECT_EQ(All(table, 2), Rows{"y|second"});
  EXPECT_EQ(Write(table, "a   ", "   ", "third"), 1);
  EXPECT_EQ(All(table, 2), Rows{"y|third"}) << "a blank key 2 leaves the old one";
  EXPECT_EQ(WriteRawKeys(table, "a", nullptr, "01234567890123456789"), 1);
  EXPECT_EQ(All(table, 2), Rows{"y|01234567890123456789"});
}

TEST_F(EngineTest, DeletesByMatchingKeys) {
  const std::tuple<const char*, const char*, int, Rows> cases[] = {
      {"a", nullptr, 1, {"b|2", "c|3"}},      {"a", "x", 1, {"b|2", "c|3"}},
      {"a", "y", 0, {"a|1", "b|2", "c|3"}},   {nullptr, "x", 1, {"c|3"}},
      {"", "y", 1, {"a|1", "b|2"}},           {"    ", nullptr, 0, {"a|1", "b|2", "c|3"}},
      {"d", "   ", 0, {"a|1", "b|2", "c|3"}},
  };
  const int table = Open();
  for (const auto& [key1, key2, result, left] : cases) {
    Write(table, "a", "x", "1");
    Write(table, "b", "x", "2");
    Write(table, "c", "y", "3");
    EXPECT_EQ(DeleteKeys(table, key1, key2), result);
    EXPECT_EQ(All(table), left);
  }
}

TEST_F(EngineTest, WritesAndReadsFieldsOfTheCurrentRecord) {
  constexpr char schema[] = "id-D2 amount-F5.2 name-D14";
  const int table = Open();
  char record[21] = "                    ";
  EXPECT_EQ(SetCurrentRecord(schema, record, 20), 1);
  EXPECT_EQ(SetFieldValueByName("ID", "7"), 1);
  EXPECT_EQ(SetFieldValueByName("amount", "1234567890"), 0);
  EXPECT_EQ(SetFieldValueByIdx(2, "a name beyond its field"), 1);
  EXPECT_EQ((Codes{SetFieldValueByName("other", "x"), SetFieldValueByIdx(3, "x")}), Codes(2));
  EXPECT_EQ(WriteKeys(table, "a", "b"), 1);

  char read[21] = {};
  char key[5] = "a";
  ASSERT_EQ(ReadKeyEq(table, 1, key, read), 1);
  EXPECT_EQ(SetCurrentRecord(schema, read, 20), 1);
  char text[32];
  EXPECT_EQ(GetFieldValueByIdx(0, text), 1);
  EXPECT_STREQ(text, "7");
  EXPECT_EQ((Codes{GetFieldValueByName("other", text), GetFieldValueByIdx(-1, text)}), Codes(2));
  EXPECT_EQ(GetFieldValueByName("name", read), 1) << "over the record's own start";
  EXPECT_STREQ(read, "a name beyond");

  std::vector<char> shorter = {'a', 'b', 'c'};  // nothing may be read beyond it
  SetCurrentRecord("f-D3", shorter.data(), 3);
  EXPECT_EQ(WriteKeys(table, "a", ""), 1);
  EXPECT_EQ(All(table), Rows{"a|abc"}) << "completed with blanks";
  std::thread([] {
    char foreign[5] = "else";
    char got[5] = "none";
    EXPECT_EQ(GetFieldValueByName("f", got), 0) << "each thread has a current record of its own";
    SetCurrentRecord("f-D4", foreign, 4);
  }).join();
  EXPECT_EQ(GetFieldValueByName("f", text), 1);
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(SetCurrentRecord("broken", record, 20), 0);
  EXPECT_EQ(GetFieldValueByIdx(0, text), 0);
}

TEST_F(EngineTest, CreatesTablesOfAnyValidLength) {
  const string path = folder_.Host("lengths.dat");
  const std::vector<std::vector<int>> good = {{1, 1, 0}, {154, 82, 0}, {6143, 1023, 1023}};
  for (const auto& lengths : good) {
    ASSERT_EQ(CreateArchive(path.c_str(), lengths[0], lengths[1], lengths[2]), 0) << lengths[0];
    const int table = IOpen(path.c_str());
    for (int selector = 0; selector < 3; ++selector) {
      EXPECT_EQ(GetLength(table, selector), lengths[static_cast<std::size_t>(selector)]);
    }
    EXPECT_EQ(GetLength(table, 3), -1);
    const string bytes(static_cast<std::size_t>(lengths[0]), 'r');
    const string key(static_cast<std::size_t>(lengths[1]), 'k');
    EXPECT_EQ(Write(table, key, key, bytes), 1) << lengths[0];
    EXPECT_EQ(Read(ReadKeyEq, table, 1, key), string(key).append("|").append(bytes));
    IClose(table);
    EXPECT_EQ(CheckIntegrity(path), "ok");
  }
  const int bad[][3] = {{0, 4, 0},   {6144, 4, 0},  {20, 0, 3},   {20, 1024, 0},
                        {20, 4, -1}, {20, 4, 1024}, {-1, -1, -1}, {INT_MAX, INT_MAX, INT_MAX}};
  for (const auto& lengths : bad) {
    EXPECT_NE(CreateArchive(path.c_str(), lengths[0], lengths[1], lengths[2]), 0) << lengths[0];
  }
}

TEST_F(EngineTest, ReplacesExtensionOfName) {
  const std::pair<const char*, const char*> cases[] = {
      {"/orders", "orders.dat"}, {"/bills.idx", "bills.dat"},         {"\\sub\\x.dat", "sub/x.dat"},
      {"/a.b.c", "a.b.dat"},     {"\\sub.d\\none", "sub.d/none.dat"}, {"/./sub//../up.dat", "up.dat"},
  };
  folder_.Make("sub");
  folder_.Make("sub.d");
  for (const auto& [given, file] : cases) {
    EXPECT_EQ(CreateArchive((folder_.Host() + given).c_str(), 20, 4, 3), 0) << given;
    EXPECT_TRUE(folder_.Exists(file)) << file;
    string back = folder_.Logical() + given;
    std::replace(back.begin(), back.end(), '/', '\\');
    EXPECT_GT(IOpen(back.c_str()), 0) << back;
  }
  EXPECT_NE(CreateArchive(folder_.Host("missing/x.dat").c_str(), 20, 4, 3), 0);
}

TEST_F(EngineTest, RefusesFilesThatAreNotTables) {
  const string good = folder_.Read("t.dat");
  const auto damaged = [&good](std::size_t place, const string& bytes) {
    return string(good).replace(place, bytes.size(), bytes);
  };
  folder_.Write("empty.dat", "");
  folder_.Write("text.dat", string(10000, 'x'));
  folder_.Write("needs_a_log.dat", damaged(18, "\2\2"));
  folder_.Write("no_mark.dat", damaged(0, "sql"));
  folder_.Write("no_layout.dat", damaged(100, string(4000, '\xff')));
  folder_.Write("has_a_log.dat", good);
  folder_.Write("has_a_log.dat-wal", "x");
  folder_.Make("folder.dat");
  if (kHasLinks) fs::create_symlink("/dev/null", folder_.Host("device.dat"));
  for (const char* name : {"missing", "empty", "text", "needs_a_log", "no_mark", "no_layout", "has_a_log",
                           "folder", "device", ""}) {
    EXPECT_LT(IOpen(*name == 0 ? name : folder_.Host(name).c_str()), 0) << name;
    EXPECT_STRNE(GetLastErrorText(), "") << name;
  }
  EXPECT_LT(IOpen(nullptr), 0);
  folder_.Write("copy.dat", good);
  EXPECT_GT(IOpen(folder_.Host("copy").c_str()), 0) << "as it was";
}

TEST_F(EngineTest, OpensReadOnlyIfNotWritable) {
  const int table = Open();
  ASSERT_EQ(Write(table, "a", "x", "kept"), 1);
  const int reader = IREOpen(table_.c_str());
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(All(reader), Rows{"a|kept"});
    EXPECT_EQ(Write(reader, "b", "", ""), 0);
    EXPECT_EQ(GetLastProblem(), 3);
    EXPECT_EQ((Codes{DeleteKeys(reader, "a", nullptr), BeginBatch(reader, 1), BeginBatch(reader, 0),
                     EndBatch(reader)}),
              (Codes{0, 0, 1, 1}));
    EXPECT_EQ(IClose(table), 1 - round);
  }
}

TEST_F(EngineTest, NeverReusesHandles) {
  const int first = Open();
  const int second = Open();
  EXPECT_GT(first, 0);
  EXPECT_NE(first, second);
  EXPECT_EQ(IClose(first), 1);
  EXPECT_EQ(Write(second, "a", "", ""), 1) << "the other handle of the table stays";
  CloseAll();
  const int third = Open();
  EXPECT_GT(third, second);
  char key[5] = "a";
  char record[21];
  for (const int stale : {first, second, 0, -1, third + 1, INT_MIN}) {
    EXPECT_EQ((Codes{ReadKeyEq(stale, 1, key, record), WriteRawKeys(stale, "b", "", "01234567890123456789"),
                     DeleteKeys(stale, "a", nullptr), GetLength(stale, 0)}),
              (Codes{0, 0, 0, -1}));
    EXPECT_EQ((Codes{BeginBatch(stale, 1), EndBatch(stale), IClose(stale)}), Codes(3));
  }
  EXPECT_EQ(All(third), Rows{"a|"});
}

}  // namespace
