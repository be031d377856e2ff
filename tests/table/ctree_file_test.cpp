#include "table/ctree_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "table/engine_binding.h"

namespace {

constexpr char kSchema[] = "id-D2 name-D6 amount-D4";
constexpr char kOther[] = "id-D2 text-D10";
constexpr int kRecord = 12;

using tvl::engine::ReadMode;

// A list of texts as the calls take it, in memory of exactly its size.
class List {
 public:
  explicit List(const std::vector<std::string>& texts) {
    for (const std::string& text : texts)
      bytes_.insert(bytes_.end(), text.c_str(), text.c_str() + text.size() + 1);
    bytes_.push_back(0);
    bytes_.shrink_to_fit();
  }
  operator char*() { return bytes_.data(); }

 private:
  std::vector<char> bytes_;
};

// A key as reads take it: room for the longest key of these tables.
class KeyBuffer {
 public:
  explicit KeyBuffer(const std::string& text) { std::memcpy(text_, text.c_str(), text.size() + 1); }
  operator char*() { return text_; }

 private:
  char text_[16] = {};
};

class CtreeFileTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(CCtreeFile::CreateFiles(path_.c_str(), kRecord, 4, 3), 1);
    ASSERT_EQ(file_.Open(path_.c_str()), 1);
  }

  void Define() {
    ASSERT_EQ(file_.AddRecType(kSchema, List({"A", "X", "Y"})), 0);
    ASSERT_EQ(file_.AddRecType(kOther, List({"B"})), 1);
  }

  TempFolder folder_;
  std::string path_ = folder_.Logical("t.dat");
  CCtreeFile file_;
};

TEST_F(CtreeFileTest, AnOpenTableTellsItsLengthsAndAClosedOneNothing) {
  EXPECT_EQ(file_.datLen, kRecord);
  EXPECT_EQ(file_.key1Len, 4);
  EXPECT_EQ(file_.key2Len, 3);
  Define();
  EXPECT_EQ(file_.Close(), 1);
  EXPECT_EQ(file_.Close(), 0);
  EXPECT_EQ(file_.recTypeCount, 0);
  EXPECT_EQ(file_.currentRecType, -1);
  EXPECT_EQ(file_.datLen + file_.key1Len + file_.key2Len, 0);
  EXPECT_EQ(file_.AddRecType(kSchema, List({"A"})), -1);
  EXPECT_EQ(file_.WriteRec(List({"A1", ""}), List({})), 0);
  EXPECT_EQ(file_.WriteRawRec("A1", "", "123456789012"), 0);
  EXPECT_EQ(file_.ReadRec(KeyBuffer("A1"), 1, 0), nullptr);
  EXPECT_EQ(file_.ReadRawRec(KeyBuffer("A1"), 1, 0), nullptr);
  EXPECT_EQ(file_.DeleteRec(List({"A1", ""})), 0);
  EXPECT_EQ(file_.DeleteRawRec("A1", nullptr), 0);
  EXPECT_STREQ(file_.FieldText("name"), "");
  EXPECT_EQ(file_.FieldHex("name"), 0U);
  EXPECT_EQ(file_.Open(folder_.Logical("missing.dat").c_str()), 0);
  EXPECT_LT(file_.handle, 0);
  EXPECT_LT(CCtreeFile(folder_.Logical("missing.dat").c_str()).handle, 0);
}

TEST_F(CtreeFileTest, OpeningAgainForgetsTheTypes) {
  Define();
  EXPECT_EQ(file_.Open(path_.c_str()), 1);
  EXPECT_EQ(file_.recTypeCount, 0);
}

TEST_F(CtreeFileTest, TypesAreFoundByNameAndByKey) {
  Define();
  EXPECT_EQ(file_.AddRecType(kOther, List({""})), -1) << "no prefix";
  EXPECT_EQ(file_.FindRecTypeByName("ID-d2 TEXT-d10"), 1);
  EXPECT_EQ(file_.FindRecTypeByName("id-D2"), -1);
  const struct {
    int number;
    const char* key;
    int type;
  } cases[] = {
      {1, "A001", 0}, {1, "a001", 0}, {1, "B", 1},  {1, "", 0}, {1, "C", -1},   {1, "X", -1},
      {2, "X01", 0},  {2, "y", 0},    {2, "A", -1}, {2, "", 0}, {2, "B01", -1}, {3, "Y", 0},
  };
  for (const auto& test : cases)
    EXPECT_EQ(file_.FindRecTypeByKey(test.number, test.key), test.type) << test.key;
  // New prefixes for a type that is there; a key may be shorter than its prefix.
  EXPECT_EQ(file_.AddRecType("ID-D2 NAME-D6 AMOUNT-D4", List({"LONG"})), 0);
  EXPECT_EQ(file_.recTypeCount, 2);
  EXPECT_EQ(file_.FindRecTypeByKey(1, "lo"), 0);
  EXPECT_EQ(file_.FindRecTypeByKey(1, "LONGER"), 0);
  EXPECT_EQ(file_.FindRecTypeByKey(1, "A001"), -1);
  EXPECT_EQ(file_.FindRecTypeByKey(2, ""), -1) << "one prefix is none for key 2";
}

TEST_F(CtreeFileTest, RecordsAreBuiltFromAssignmentsAndReadByField) {
  Define();
  List assignments({"id=A ", "name=Ann=Bob", "no assignment", "amount=1f", "unknown=1"});
  EXPECT_EQ(file_.WriteRec(List({"A1", "X1"}), assignments), 1);
  EXPECT_EQ(file_.WriteRec(List({"A2", "X2"}), List({})), 1);
  EXPECT_EQ(file_.WriteRec(List({"Z1", ""}), List({"id=Z "})), 0) << "of no known type";
  KeyBuffer key("A1");
  ASSERT_NE(file_.ReadRec(key, 1, 0), nullptr);
  EXPECT_EQ(file_.currentRecType, 0);
  EXPECT_STREQ(key, "A1  ");
  EXPECT_STREQ(file_.recordBuffer, "A Ann=Bo1f  ");
  EXPECT_STREQ(file_.FieldText("NAME"), "Ann=Bo");
  EXPECT_EQ(file_.FieldHex("amount"), 0x1fU);
  EXPECT_STREQ(file_.FieldText("unknown"), "");
  EXPECT_EQ(file_.FieldHex("unknown"), 0U);
  ASSERT_NE(file_.ReadRec(key, 1, 1), nullptr);
  EXPECT_STREQ(key, "A2  ");
  EXPECT_STREQ(file_.recordBuffer, "            ") << "without assignments, blanks";
}

TEST_F(CtreeFileTest, EachModeReadsItsRecord) {
  for (const char* name : {"A1", "A3", "A5"}) ASSERT_EQ(file_.WriteRawRec(name, name, "123456789012"), 1);
  Define();
  const struct {
    int mode;
    const char* key;
    const char* found;
  } cases[] = {
      {0, "A3", "A3  "}, {0, "A2", nullptr}, {1, "A3", "A5  "},  {1, "A5", nullptr},
      {2, "A2", "A3  "}, {2, "A3", "A3  "},  {3, "A3", "A1  "},  {3, "A1", nullptr},
      {4, "A3", "A3  "}, {4, "A4", "A3  "},  {4, "A0", nullptr},
  };
  for (const auto& test : cases) {
    KeyBuffer key(test.key);
    KeyBuffer raw(test.key);
    EXPECT_EQ(file_.ReadRec(key, 1, test.mode) != nullptr, test.found != nullptr) << test.mode << test.key;
    EXPECT_EQ(file_.ReadRawRec(raw, 1, test.mode) != nullptr, test.found != nullptr) << test.mode << test.key;
    EXPECT_STREQ(key, test.found != nullptr ? test.found : test.key);
    EXPECT_STREQ(raw, key);
  }
}

TEST_F(CtreeFileTest, AReadThatFailsLeavesBlanksUnlessItNeverBegan) {
  Define();
  std::strcpy(file_.recordBuffer, "untouched");
  EXPECT_EQ(file_.ReadRec(KeyBuffer("Z1"), 1, 0), nullptr);
  EXPECT_STREQ(file_.recordBuffer, "untouched");
  EXPECT_EQ(file_.ReadRec(KeyBuffer("A1"), 1, 5), nullptr);
  EXPECT_STREQ(file_.recordBuffer, "            ");
  EXPECT_EQ(file_.ReadRawRec(KeyBuffer("A1"), 1, -1), nullptr);
}

TEST_F(CtreeFileTest, ABorrowedHandleStaysOpen) {
  CCtreeFile borrower;
  EXPECT_EQ(borrower.AttachHandle(-1, 1, 1, 1), 0);
  EXPECT_EQ(borrower.AttachHandle(file_.handle, kRecord, 4, 3), 1);
  EXPECT_EQ(borrower.WriteRawRec("A1", "", "123456789012"), 1);
  EXPECT_EQ(borrower.Close(), 1);
  EXPECT_NE(file_.ReadRawRec(KeyBuffer("A1"), 1, 0), nullptr);
  CCtreeFile::CloseHandle(file_.handle);
  EXPECT_EQ(file_.ReadRawRec(KeyBuffer("A1"), 1, 0), nullptr) << "a handle that somebody closed is refused";
  CCtreeFile::CloseHandle(-1);
}

TEST_F(CtreeFileTest, ATableIsMadeFromNothing) {
  ASSERT_EQ(file_.WriteRawRec("A1", "", "123456789012"), 1);
  const struct {
    const char* name;
    std::vector<std::string> others;
  } cases[] = {
      {"dtlocks.dat", {"k1locks.idx", "k2locks.idx", "dtlocks.dat"}},
      {"noext", {"k1ext.idx", "k2ext.idx", "noext.dat"}},
      {"a.b.tab", {"k1b.idx", "k2b.idx", "a.b.dat"}},
  };
  for (const auto& test : cases) {
    for (const std::string& other : test.others) folder_.Write("new/" + other, "old");
    EXPECT_EQ(CCtreeFile::CreateFiles(folder_.Logical(std::string("new/") + test.name).c_str(), 10, 4, 0), 1);
    EXPECT_EQ(folder_.Tree("new"), std::vector<std::string>{test.others[2]});
    CCtreeFile made(folder_.Logical(std::string("new/") + test.name).c_str());
    EXPECT_EQ(made.ReadRawRec(KeyBuffer(""), 1, 2), nullptr);
    made.Close();
    std::filesystem::remove_all(folder_.Host("new"));
  }
  EXPECT_EQ(CCtreeFile::CreateFiles(path_.c_str(), kRecord, 4, 3), 0) << "in use";
  EXPECT_NE(file_.ReadRawRec(KeyBuffer("A1"), 1, 0), nullptr);
  const int lengths[][3] = {{0, 4, 0}, {6144, 4, 0}, {10, -1, 0}, {10, 1024, 0}, {10, 4, 1024}, {-1, -1, -1}};
  for (const auto& l : lengths) {
    EXPECT_EQ(CCtreeFile::CreateFiles(folder_.Logical("bad.dat").c_str(), l[0], l[1], l[2]), 0);
  }
  EXPECT_EQ(CCtreeFile::CreateFiles(folder_.Logical("nowhere/t.dat").c_str(), 10, 4, 0), 0);
}

TEST_F(CtreeFileTest, TheLongestRecordAndKeyWork) {
  const std::string path = folder_.Logical("long.dat");
  ASSERT_EQ(CCtreeFile::CreateFiles(path.c_str(), 6143, 1023, 1023), 1);
  CCtreeFile file(path.c_str());
  const std::string key(1023, 'k');
  ASSERT_EQ(file.WriteRawRec(key.c_str(), key.c_str(), std::string(6143, 'r').data()), 1);
  char buffer[1024] = "k";
  ASSERT_NE(file.ReadRawRec(buffer, 2, 2), nullptr);
  EXPECT_EQ(buffer, key);
  EXPECT_EQ(file.recordBuffer, std::string(6143, 'r'));
  // Only the first 4096 bytes of a record that is built are blanked.
  ASSERT_EQ(file.AddRecType("id-D2", List({"k"})), 0);
  ASSERT_EQ(file.WriteRec(List({"k2", ""}), List({"id=k2"})), 1);
  KeyBuffer short_key("k2");
  char exact[1024] = "k2";
  ASSERT_NE(file.ReadRawRec(exact, 1, 0), nullptr);
  EXPECT_EQ(file.recordBuffer, "k2" + std::string(4094, ' ') + std::string(6143 - 4096, 'r'));
}

TEST_F(CtreeFileTest, TheEngineComesBackAfterUnloading) {
  const int handle = file_.handle;
  UnloadTableEngine();
  EXPECT_EQ(file_.WriteRawRec("A1", "", "123456789012"), 0) << "its handles died";
  {
    const tvl::TableEngineUse use;
    CCtreeFile again(path_.c_str());
    EXPECT_GE(again.handle, 0);
    EXPECT_NE(again.handle, handle);
    UnloadTableEngine();
    EXPECT_EQ(again.WriteRawRec("A1", "", "123456789012"), 1) << "somebody uses the engine";
    EXPECT_EQ(file_.WriteRawRec("A2", "", "123456789012"), 0) << "a dead handle is never mistaken";
  }
}

}  // namespace
