#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "engine/engine.h"

namespace {

using Rows = std::vector<std::string>;

TEST_F(EngineTest, FindsByBothKeysInAllWays) {
  const int table = engine_.IOpen(table_.c_str());
  for (const char* key : {"b", "d", "f"}) {
    ASSERT_EQ(engine_.Write(table, key, std::string(1, static_cast<char>(key[0] - 32)), key), 1);
  }
  const struct {
    decltype(&ReadKeyEq) read;
    const char* key;
    const char* found;
  } cases[] = {
      {engine_.ReadKeyEq, "d", "d"},   {engine_.ReadKeyEq, "c", ""},      {engine_.ReadKeyEq, "d   ", "d"},
      {engine_.ReadKeyGt, "d", "f"},   {engine_.ReadKeyGt, "f", ""},      {engine_.ReadKeyGt, "", "b"},
      {engine_.ReadKeyGtEq, "d", "d"}, {engine_.ReadKeyGtEq, "e", "f"},   {engine_.ReadKeyGtEq, "g", ""},
      {engine_.ReadKeyLt, "d", "b"},   {engine_.ReadKeyLt, "b", ""},      {engine_.ReadKeyLt, "~~~~", "f"},
      {engine_.ReadKeyLtEq, "d", "d"}, {engine_.ReadKeyLtEq, "c", "b"},   {engine_.ReadKeyLtEq, "a", ""},
      {engine_.ReadKeyGt, "da", "f"},  {engine_.ReadKeyEq, "d   x", "d"},
  };
  for (const auto& [read, key, found] : cases) {
    const std::string expected = *found == 0 ? "" : std::string(found) + '|' + found;
    EXPECT_EQ(engine_.Read(read, table, 1, key), expected) << key;
    std::string key2 = key;
    if (key2.size() > 3) continue;  // made for key 1
    std::transform(key2.begin(), key2.end(), key2.begin(),
                   [](char c) { return static_cast<char>(toupper(c)); });
    const char upper[2] = {static_cast<char>(toupper(*found)), 0};
    EXPECT_EQ(engine_.Read(read, table, 2, key2), *found == 0 ? "" : std::string(upper) + '|' + found)
        << key2;
  }
}

TEST_F(EngineTest, ComparesKeysAsBytes) {
  const int table = engine_.IOpen(table_.c_str());
  for (const char* key : {"\xe0", "a", "B", "a\x01", "1"}) ASSERT_EQ(engine_.Write(table, key, "", ""), 1);
  // A key that goes on below a blank lies before the one that ends.
  EXPECT_EQ(engine_.All(table, 1), (Rows{"1|", "B|", "a\x01|", "a|", "\xe0|"}));
}

TEST_F(EngineTest, LeavesBuffersAloneWhereNothingIsFound) {
  const int table = engine_.IOpen(table_.c_str());
  char key[8] = "no\0rest";
  char record[21] = "untouched";
  EXPECT_EQ(engine_.ReadKeyEq(table, 1, key, record), 0);
  EXPECT_EQ(std::memcmp(key, "no\0rest", sizeof key), 0);
  EXPECT_STREQ(record, "untouched");
  for (const int number : {0, 3, -1, INT_MAX}) EXPECT_EQ(engine_.ReadKeyEq(table, number, key, record), 0);
}

TEST_F(EngineTest, ReplacesARecordOfTheSameKey1) {
  const int table = engine_.IOpen(table_.c_str());
  EXPECT_EQ(engine_.Write(table, "a", "x", "first"), 1);
  EXPECT_EQ(engine_.Write(table, "a", "y", "second"), 1);
  EXPECT_EQ(engine_.All(table, 1), Rows{"a|second"});
  EXPECT_EQ(engine_.All(table, 2), Rows{"y|second"});
  EXPECT_EQ(engine_.Write(table, "a   ", "   ", "third"), 1);
  EXPECT_EQ(engine_.All(table, 2), Rows{"y|third"}) << "a blank key 2 leaves the old one";
  EXPECT_EQ(engine_.WriteRawKeys(table, "a", nullptr, "01234567890123456789"), 1);
  EXPECT_EQ(engine_.All(table, 2), Rows{"y|01234567890123456789"});
}

TEST_F(EngineTest, GivesTheFirstOrLastOfEqualKeys2) {
  const int table = engine_.IOpen(table_.c_str());
  for (const char* key : {"c", "a", "b"}) engine_.Write(table, key, "k", key);
  EXPECT_EQ(engine_.Read(engine_.ReadKeyEq, table, 2, "k"), "k|a");
  EXPECT_EQ(engine_.Read(engine_.ReadKeyGtEq, table, 2, "k"), "k|a");
  EXPECT_EQ(engine_.Read(engine_.ReadKeyLtEq, table, 2, "k"), "k|c");
  EXPECT_EQ(engine_.Read(engine_.ReadKeyGt, table, 2, "k"), "");
}

TEST_F(EngineTest, DeletesByTheKeysGiven) {
  const struct {
    const char* key1;
    const char* key2;
    int result;
    Rows left;
  } cases[] = {
      {"a", nullptr, 1, {"b|2", "c|3"}},
      {"a", "   ", 1, {"b|2", "c|3"}},
      {"a", "x", 1, {"b|2", "c|3"}},
      {"a", "y", 0, {"a|1", "b|2", "c|3"}},
      {nullptr, "x", 1, {"c|3"}},
      {"", "y", 1, {"a|1", "b|2"}},
      {nullptr, nullptr, 0, {"a|1", "b|2", "c|3"}},
      {"    ", "", 0, {"a|1", "b|2", "c|3"}},
      {"d", nullptr, 0, {"a|1", "b|2", "c|3"}},
  };
  const int table = engine_.IOpen(table_.c_str());
  for (const auto& [key1, key2, result, left] : cases) {
    engine_.Write(table, "a", "x", "1");
    engine_.Write(table, "b", "x", "2");
    engine_.Write(table, "c", "y", "3");
    EXPECT_EQ(engine_.DeleteKeys(table, key1, key2), result);
    EXPECT_EQ(engine_.All(table, 1), left);
  }
}

TEST_F(EngineTest, WritesAndReadsFieldsOfTheCurrentRecord) {
  constexpr char schema[] = "id-D2 amount-F5.2 name-D14";
  const int table = engine_.IOpen(table_.c_str());
  char record[21] = "                    ";
  EXPECT_EQ(engine_.SetCurrentRecord(schema, record, 20), 1);
  EXPECT_EQ(engine_.SetFieldValueByName("ID", "7"), 1);
  EXPECT_EQ(engine_.SetFieldValueByName("amount", "12.5"), 1);
  EXPECT_EQ(engine_.SetFieldValueByName("amount", "1234567890"), 0);
  EXPECT_EQ(engine_.SetFieldValueByIdx(2, "a name beyond its field"), 1);
  EXPECT_EQ(engine_.SetFieldValueByName("other", "x"), 0);
  EXPECT_EQ(engine_.SetFieldValueByIdx(3, "x"), 0);
  EXPECT_EQ(engine_.WriteKeys(table, "a", "b"), 1);

  char read[21] = {};
  char key[5] = "a";
  ASSERT_EQ(engine_.ReadKeyEq(table, 1, key, read), 1);
  EXPECT_EQ(engine_.SetCurrentRecord(schema, read, 20), 1);
  char text[32];
  EXPECT_EQ(engine_.GetFieldValueByIdx(0, text), 1);
  EXPECT_STREQ(text, "7");
  EXPECT_EQ(engine_.GetFieldValueByName("amount", text), 1);
  EXPECT_STREQ(text, "12.5");
  EXPECT_EQ(engine_.GetFieldValueByName("name", read), 1) << "over the record's own start";
  EXPECT_STREQ(read, "a name beyond");
  EXPECT_EQ(engine_.GetFieldValueByName("other", text), 0);

  EXPECT_EQ(engine_.SetCurrentRecord("broken", record, 20), 0);
  EXPECT_EQ(engine_.GetFieldValueByIdx(0, text), 0);
}

TEST_F(EngineTest, CompletesAShortCurrentRecordWithBlanks) {
  const int table = engine_.IOpen(table_.c_str());
  const std::vector<char> shorter = {'a', 'b', 'c'};  // nothing may be read behind it
  engine_.SetCurrentRecord("f-D3", const_cast<char*>(shorter.data()), 3);
  EXPECT_EQ(engine_.WriteKeys(table, "a", ""), 1);
  EXPECT_EQ(engine_.All(table, 1), Rows{"a|abc"});
}

TEST_F(EngineTest, KeepsACurrentRecordForEachThread) {
  char mine[5] = "mine";
  char text[5] = {};
  engine_.SetCurrentRecord("f-D4", mine, 4);
  std::thread([this] {
    char foreign[5] = "else";
    char got[5] = "none";
    EXPECT_EQ(engine_.GetFieldValueByName("f", got), 0) << "a thread starts without one";
    engine_.SetCurrentRecord("f-D4", foreign, 4);
    EXPECT_EQ(engine_.GetFieldValueByName("f", got), 1);
    EXPECT_STREQ(got, "else");
  }).join();
  EXPECT_EQ(engine_.GetFieldValueByName("f", text), 1);
  EXPECT_STREQ(text, "mine");
}

TEST_F(EngineTest, TellsTheLengths) {
  const int table = engine_.IOpen(table_.c_str());
  const int lengths[] = {20, 4, 3, -1};
  for (int selector = 0; selector < 4; ++selector) {
    EXPECT_EQ(engine_.GetLength(table, selector), lengths[selector]);
  }
}

TEST_F(EngineTest, MakesTablesOfAnyLengthWithinBounds) {
  const struct {
    int record;
    int key1;
    int key2;
    bool made;
  } cases[] = {{1, 1, 0, true},
               {154, 82, 0, true},
               {6143, 1023, 1023, true},
               {0, 4, 0, false},
               {6144, 4, 0, false},
               {20, 0, 3, false},
               {20, 1024, 0, false},
               {20, 4, -1, false},
               {20, 4, 1024, false},
               {-1, -1, -1, false},
               {INT_MAX, INT_MAX, INT_MAX, false}};
  for (const auto& [record, key1, key2, made] : cases) {
    const std::string path = folder_ + "/lengths.dat";
    EXPECT_EQ(engine_.CreateArchive(path.c_str(), record, key1, key2) == 0, made) << record;
    if (!made) continue;
    const int table = engine_.IOpen(path.c_str());
    const std::string bytes(static_cast<std::size_t>(record), 'r');
    const std::string key(static_cast<std::size_t>(key1), 'k');
    EXPECT_EQ(engine_.Write(table, key, key.substr(0, static_cast<std::size_t>(key2)), bytes), 1) << record;
    std::string row = key;
    row.append("|").append(bytes);
    EXPECT_EQ(engine_.Read(engine_.ReadKeyEq, table, 1, key), row);
    engine_.IClose(table);
    EXPECT_EQ(CheckIntegrity(path), "ok");
  }
}

TEST_F(EngineTest, NamesTheFileByItsExtension) {
  const struct {
    const char* given;
    const char* file;
  } cases[] = {
      {"/orders", "orders.dat"}, {"/bills.idx", "bills.dat"},         {"\\sub\\x.dat", "sub/x.dat"},
      {"/a.b.c", "a.b.dat"},     {"\\sub.d\\none", "sub.d/none.dat"}, {"/./sub//../up.dat", "up.dat"},
  };
  std::filesystem::create_directory(folder_ + "/sub");
  std::filesystem::create_directory(folder_ + "/sub.d");
  for (const auto& [given, file] : cases) {
    EXPECT_EQ(engine_.CreateArchive((folder_ + given).c_str(), 20, 4, 3), 0) << given;
    EXPECT_TRUE(std::filesystem::exists(folder_ + '/' + file)) << file;
    std::string back = folder_ + given;
    std::replace(back.begin(), back.end(), '/', '\\');
    const int table = engine_.IOpen(back.c_str());
    EXPECT_GT(table, 0) << back;
    EXPECT_EQ(engine_.IClose(table), 1);
  }
  EXPECT_NE(engine_.CreateArchive((folder_ + "/missing/x.dat").c_str(), 20, 4, 3), 0);
}

TEST_F(EngineTest, GivesFilesTheBitsOfTheirFolder) {
  chmod(folder_.c_str(), 0775);
  const mode_t former = umask(0077);
  const std::string path = folder_ + "/shared.dat";
  EXPECT_EQ(engine_.CreateArchive(path.c_str(), 20, 4, 3), 0);
  const int table = engine_.IOpen(path.c_str());
  EXPECT_EQ(engine_.Write(table, "a", "", ""), 1);
  umask(former);
  for (const std::string& file : {path, path + "-journal"}) {
    struct stat status = {};
    ASSERT_EQ(stat(file.c_str(), &status), 0) << file;
    EXPECT_EQ(status.st_mode & 0777, 0664U) << file;
  }
}

TEST_F(EngineTest, RefusesWhatIsNoTable) {
  const auto damaged = [this](std::streamoff place, const std::string& bytes) {
    std::string path = folder_ + "/damaged.dat";
    std::filesystem::copy_file(table_, path, std::filesystem::copy_options::overwrite_existing);
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(place);
    file << bytes;
    return path;
  };
  std::ofstream(folder_ + "/empty.dat") << "";
  std::ofstream(folder_ + "/text.dat") << std::string(10000, 'x');
  std::filesystem::create_directory(folder_ + "/folder.dat");
  std::filesystem::copy_file(table_, folder_ + "/logged.dat");
  std::ofstream(folder_ + "/logged.dat-wal") << "x";
  for (const std::string& path :
       {folder_ + "/missing.dat", folder_ + "/empty.dat", folder_ + "/text.dat", folder_ + "/folder.dat",
        folder_ + "/logged.dat", std::string("/dev/null"), std::string()}) {
    EXPECT_LT(engine_.IOpen(path.c_str()), 0) << path;
    EXPECT_STRNE(engine_.GetLastErrorText(), "") << path;
  }
  EXPECT_LT(engine_.IOpen(nullptr), 0);
  EXPECT_LT(engine_.IOpen(damaged(18, "\2\2").c_str()), 0) << "a write-ahead log";
  EXPECT_LT(engine_.IOpen(damaged(0, "sql").c_str()), 0);
  EXPECT_LT(engine_.IOpen(damaged(100, std::string(4000, '\xff')).c_str()), 0) << "no layout";
  EXPECT_GT(engine_.IOpen(damaged(19, "\1").c_str()), 0) << "not damaged after all";
}

TEST_F(EngineTest, ReadsOnlyWhereItMayNotWrite) {
  int table = engine_.IOpen(table_.c_str());
  ASSERT_EQ(engine_.Write(table, "a", "x", "kept"), 1);
  const int reader = engine_.IREOpen(table_.c_str());
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(engine_.All(reader, 1), Rows{"a|kept"});
    EXPECT_EQ(engine_.Write(reader, "b", "", ""), 0);
    EXPECT_EQ(engine_.DeleteKeys(reader, "a", nullptr), 0);
    EXPECT_EQ(engine_.BeginBatch(reader, 1), 0);
    EXPECT_EQ(engine_.BeginBatch(reader, 0), 1);
    EXPECT_EQ(engine_.EndBatch(reader), 1);
    EXPECT_EQ(engine_.IClose(table), 1 - round);
  }
}

TEST_F(EngineTest, NeverGivesANumberTwice) {
  const int first = engine_.IOpen(table_.c_str());
  const int second = engine_.IOpen(table_.c_str());
  EXPECT_GT(first, 0);
  EXPECT_NE(first, second);
  EXPECT_EQ(engine_.IClose(first), 1);
  EXPECT_EQ(engine_.IClose(first), 0);
  EXPECT_EQ(engine_.Write(second, "a", "", ""), 1) << "the other handle of the table stays";
  engine_.CloseAll();
  const int third = engine_.IOpen(table_.c_str());
  EXPECT_GT(third, second);
  char key[5] = "a";
  char record[21];
  for (const int stale : {first, second, 0, -1, third + 1, INT_MIN}) {
    EXPECT_EQ(engine_.ReadKeyEq(stale, 1, key, record), 0);
    EXPECT_EQ(engine_.WriteRawKeys(stale, "b", "", "01234567890123456789"), 0);
    EXPECT_EQ(engine_.DeleteKeys(stale, "a", nullptr), 0);
    EXPECT_EQ(engine_.GetLength(stale, 0), -1);
    EXPECT_EQ(engine_.BeginBatch(stale, 1), 0);
    EXPECT_EQ(engine_.EndBatch(stale), 0);
    EXPECT_EQ(engine_.IClose(stale), 0);
  }
  EXPECT_EQ(engine_.All(third, 1), Rows{"a|"});
}

}  // namespace
