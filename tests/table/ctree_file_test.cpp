#include "table/ctree_file.h"

#include "support/testing.h"
#include "table/engine_binding.h"

namespace {

constexpr char kSchema[] = "id-D2 name-D6 amount-D4";
constexpr char kOther[] = "id-D2 text-D10";
constexpr int kRecord = 12;
constexpr char kBytes[] = "123456789012";

// Returns a list of texts in the format of the calls, in memory of exactly its size.
std::vector<char> List(const std::vector<string>& texts) {
  string bytes;
  for (const string& text : texts) bytes.append(text).push_back(0);
  bytes.push_back(0);
  return {bytes.begin(), bytes.end()};
}

class CtreeFile : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(CCtreeFile::CreateFiles(path_.c_str(), kRecord, 4, 3), 1);
    ASSERT_EQ(file_.Open(path_.c_str()), 1);
  }

  void Define() {
    ASSERT_EQ(file_.AddRecType(kSchema, List({"A", "X", "Y"}).data()), 0);
    ASSERT_EQ(file_.AddRecType(kOther, List({"B"}).data()), 1);
  }

  TempFolder folder_;
  string path_ = folder_.Logical("t.dat");
  CCtreeFile file_;
};

TEST_F(CtreeFile, ClosedTableReturnsNothing) {
  EXPECT_EQ(std::vector({file_.datLen, file_.key1Len, file_.key2Len}), (std::vector{kRecord, 4, 3}));
  Define();
  EXPECT_EQ(file_.Open(path_.c_str()), 1);
  EXPECT_EQ(file_.recTypeCount, 0) << "opening again forgets the types";
  EXPECT_EQ(file_.Close(), 1);
  EXPECT_EQ(file_.Close(), 0);
  EXPECT_EQ((Codes{file_.datLen, file_.key1Len, file_.key2Len}), Codes(3));
  EXPECT_EQ(file_.AddRecType(kSchema, List({"A"}).data()), -1);
  EXPECT_EQ(file_.WriteRec(List({"A1", ""}).data(), List({}).data()), 0);
  EXPECT_EQ(file_.WriteRawRec("A1", "", kBytes), 0);
  EXPECT_EQ(file_.ReadRec(Arg("A1"), 1, 0), nullptr);
  EXPECT_EQ(file_.ReadRawRec(Arg("A1"), 1, 0), nullptr);
  EXPECT_EQ((Codes{file_.DeleteRec(List({"A1", ""}).data()), file_.DeleteRawRec("A1", nullptr)}), Codes(2));
  EXPECT_STREQ(file_.FieldText("name"), "");
  EXPECT_EQ(file_.FieldHex("name"), 0U);
  EXPECT_EQ(file_.Open(folder_.Logical("missing.dat").c_str()), 0);
  EXPECT_LT(file_.handle, 0);
}

TEST_F(CtreeFile, TypesAreFoundByNameAndByKey) {
  Define();
  EXPECT_EQ(file_.AddRecType(kOther, List({""}).data()), -1) << "no prefix";
  EXPECT_EQ(file_.FindRecTypeByName("ID-d2 TEXT-d10"), 1);
  EXPECT_EQ(file_.FindRecTypeByName("id-D2"), -1);
  const std::tuple<int, int, const char*> cases[] = {
      {1, 0, "a001"}, {1, 1, "B"}, {1, 0, ""}, {1, -1, "C"},   {1, -1, "X"},
      {2, 0, "X01"},  {2, 0, "y"}, {2, 0, ""}, {2, -1, "B01"}, {3, 0, "Y"},
  };
  for (const auto& [number, type, key] : cases) EXPECT_EQ(file_.FindRecTypeByKey(number, key), type) << key;
  // New prefixes for an existing type; a key may be shorter than its prefix.
  EXPECT_EQ(file_.AddRecType("ID-D2 NAME-D6 AMOUNT-D4", List({"LONG"}).data()), 0);
  EXPECT_EQ(file_.recTypeCount, 2);
  EXPECT_EQ((Codes{file_.FindRecTypeByKey(1, "lo"), file_.FindRecTypeByKey(1, "LONGER")}), Codes(2));
  EXPECT_EQ(file_.FindRecTypeByKey(1, "A001"), -1);
  EXPECT_EQ(file_.FindRecTypeByKey(2, ""), -1) << "one prefix is none for key 2";
}

TEST_F(CtreeFile, BuildsRecordsFromAssignmentsAndReadsFields) {
  Define();
  std::vector<char> assignments = List({"id=A ", "name=Ann=Bob", "no assignment", "amount=1f", "unknown=1"});
  EXPECT_EQ(file_.WriteRec(List({"A1", "X1"}).data(), assignments.data()), 1);
  EXPECT_EQ(file_.WriteRec(List({"A2", "X2"}).data(), List({}).data()), 1);
  EXPECT_EQ(file_.WriteRec(List({"Z1", ""}).data(), List({"id=Z "}).data()), 0) << "of no known type";
  Arg key("A1");
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

TEST_F(CtreeFile, EachModeReadsItsRecord) {
  for (const char* name : {"A1", "A3", "A5"}) ASSERT_EQ(file_.WriteRawRec(name, name, kBytes), 1);
  Define();
  const std::tuple<int, const char*, const char*> cases[] = {
      {0, "A3", "A3  "}, {0, "A2", nullptr}, {1, "A3", "A5  "},  {2, "A2", "A3  "},   {3, "A3", "A1  "},
      {4, "A3", "A3  "}, {4, "A2", "A1  "},  {5, "A3", nullptr}, {-1, "A3", nullptr},
  };
  for (const auto& [mode, wanted, found] : cases) {
    SCOPED_TRACE(std::to_string(mode) + wanted);
    Arg key(wanted);
    Arg raw(wanted);
    EXPECT_EQ(file_.ReadRec(key, 1, mode) != nullptr, found != nullptr);
    EXPECT_STREQ(file_.recordBuffer, found != nullptr ? kBytes : "            ");
    EXPECT_EQ(file_.ReadRawRec(raw, 1, mode) != nullptr, found != nullptr);
    EXPECT_STREQ(key, found != nullptr ? found : wanted);
    EXPECT_STREQ(raw, key);
  }
  std::strcpy(file_.recordBuffer, "untouched");
  EXPECT_EQ(file_.ReadRec(Arg("Z1"), 1, 0), nullptr) << "of no known type";
  EXPECT_STREQ(file_.recordBuffer, "untouched");
}

TEST_F(CtreeFile, CreatesTable) {
  const std::pair<const char*, std::vector<string>> cases[] = {
      {"dtlocks.dat", {"k1locks.idx", "k2locks.idx", "dtlocks.dat"}},
      {"noext", {"k1ext.idx", "k2ext.idx", "noext.dat"}},
      {"a.b.tab", {"k1b.idx", "k2b.idx", "a.b.dat"}},
  };
  for (const auto& [name, others] : cases) {
    for (const string& other : others) folder_.Write("new/" + other, "old");
    const string path = folder_.Logical(string("new/") + name);
    EXPECT_EQ(CCtreeFile::CreateFiles(path.c_str(), 10, 4, 0), 1);
    EXPECT_EQ(folder_.Tree("new"), std::vector<string>{others[2]});
    const int lengths[][3] = {{0, 4, 0}, {6144, 4, 0}, {10, -1, 0}, {10, 1024, 0}, {10, 4, 1024}};
    for (const auto& l : lengths) EXPECT_EQ(CCtreeFile::CreateFiles(path.c_str(), l[0], l[1], l[2]), 0);
    EXPECT_EQ(folder_.Tree("new"), std::vector<string>{others[2]}) << "refused at once";
    EXPECT_EQ(CCtreeFile(path.c_str()).ReadRawRec(Arg(""), 1, 2), nullptr);
    fs::remove_all(folder_.Host("new"));
  }
  ASSERT_EQ(file_.WriteRawRec("A1", "", kBytes), 1);
  EXPECT_EQ(CCtreeFile::CreateFiles(path_.c_str(), kRecord, 4, 3), 0) << "in use";
  EXPECT_NE(file_.ReadRawRec(Arg("A1"), 1, 0), nullptr);
  EXPECT_EQ(CCtreeFile::CreateFiles(folder_.Logical("nowhere/t.dat").c_str(), 10, 4, 0), 0);
}

TEST_F(CtreeFile, LongestRecordAndKeyWork) {
  const string path = folder_.Logical("long.dat");
  ASSERT_EQ(CCtreeFile::CreateFiles(path.c_str(), 6143, 1023, 1023), 1);
  CCtreeFile file(path.c_str());
  const string key(1023, 'k');
  ASSERT_EQ(file.WriteRawRec(key.c_str(), key.c_str(), string(6143, 'r').data()), 1);
  char buffer[1024] = "k";
  ASSERT_NE(file.ReadRawRec(buffer, 2, 2), nullptr);
  EXPECT_EQ(buffer, key);
  EXPECT_EQ(file.recordBuffer, string(6143, 'r'));
  // Only the first 4096 bytes of a new record are filled with blanks.
  ASSERT_EQ(file.AddRecType("id-D2", List({"k"}).data()), 0);
  ASSERT_EQ(file.WriteRec(List({"k2", ""}).data(), List({"id=k2"}).data()), 1);
  ASSERT_NE(file.ReadRawRec(std::strcpy(buffer, "k2"), 1, 0), nullptr);
  EXPECT_EQ(file.recordBuffer, "k2" + string(4094, ' ') + string(6143 - 4096, 'r'));
}

TEST_F(CtreeFile, EngineCanBeReloaded) {
  const int handle = file_.handle;
  UnloadTableEngine();
  EXPECT_EQ(file_.WriteRawRec("A1", "", kBytes), 0) << "its handles died";
  {
    const tvl::TableEngineUse use;
    CCtreeFile again(path_.c_str());
    EXPECT_GE(again.handle, 0);
    EXPECT_NE(again.handle, handle);
    UnloadTableEngine();
    EXPECT_EQ(again.WriteRawRec("A1", "", kBytes), 1) << "the engine is in use";
    EXPECT_EQ(file_.WriteRawRec("A2", "", kBytes), 0) << "a dead handle is never mistaken";
  }
}

}  // namespace
