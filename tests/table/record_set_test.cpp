#include <tvlclient/tvlclient.h>

#include "support/store_test.h"

namespace {

constexpr int kRecord = 6;
constexpr int kKey1 = 4;
constexpr int kKey2 = 3;

class RecordSet : public StoreTest {
 protected:
  void SetUp() override { ASSERT_EQ(store_.Connect(connection_), TVL_OK); }
  void Open() { ASSERT_EQ(set_.InitAndOpen(Arg("t.dat"), kRecord, kKey1, kKey2), TVL_OK); }
  void Add(const std::vector<string>& keys) {
    for (const string& key : keys) ASSERT_EQ(set_.AddNew(key.c_str(), "k2", "record"), 1);
  }
  std::vector<string> Keys() {
    std::vector<string> keys;
    for (set_.Rewind(); set_.Next() == 1;) keys.emplace_back(set_.Key1(-1));
    return keys;
  }

  CTVLClientSmbOpr connection_;
  CTVLCtreeRs set_{&connection_};
};

TEST_F(RecordSet, ClosedSetRefusesEverything) {
  char keys[] = "a\x01";
  CTVLCtreeRecord record;
  const auto refuses = [&] {
    EXPECT_EQ(set_.Count(), 0);
    EXPECT_STREQ(set_.Key1(-1), "");
    EXPECT_STREQ(set_.Key2(0), "");
    EXPECT_EQ(set_.Rec(-1), nullptr);
    EXPECT_STREQ(set_.File(), "");
    EXPECT_EQ((Codes{set_.First(), set_.Last(), set_.Next(), set_.Prev(), set_.MoveAt(0), set_.Rewind()}),
              Codes(6));
    EXPECT_EQ((Codes{set_.AddNew("a", "b", nullptr), set_.Extend(4), set_.SetKey1("a", 1, 0)}), Codes(3));
    EXPECT_EQ((Codes{set_.ReadKeyPrefiz(keys), set_.Attach(&record, -1), set_.GetIntFieldValueByName("x")}),
              Codes(3));
    for (const int code : {set_.WriteTheBlock(), set_.DeleteKeys(keys), set_.DeleteKeyPrefiz(keys)})
      EXPECT_EQ(code, TVL_ERR_RS_OPEN);
  };
  EXPECT_EQ(set_.Open(Arg("missing.dat")), TVL_ERR_SERVER_FILE);
  refuses();
  EXPECT_EQ(set_.InitAndOpen(Arg("no/folder.dat"), kRecord, kKey1, kKey2), TVL_ERR_DELETE_FILE);
  refuses();
  Open();
  Add({"a"});
  set_.Close();
  set_.Close();
  refuses();
  EXPECT_EQ(std::vector({set_.DatLen(), set_.Key1Len(), set_.Key2Len()}),
            (std::vector{kRecord, kKey1, kKey2}));
}

TEST_F(RecordSet, LoopStopsAtBothEnds) {
  Open();
  Add({"a", "b", "c"});
  EXPECT_EQ(set_.Rewind(), 1);
  EXPECT_STREQ(set_.Key1(-1), "") << "before the first row there is none";
  const std::tuple<int (CTVLCtreeRs::*)() noexcept, int, const char*> moves[] = {
      {&CTVLCtreeRs::Next, 1, "a   "},  {&CTVLCtreeRs::Prev, 0, "a   "}, {&CTVLCtreeRs::Next, 1, "b   "},
      {&CTVLCtreeRs::Last, 1, "c   "},  {&CTVLCtreeRs::Next, 0, "c   "}, {&CTVLCtreeRs::Prev, 1, "b   "},
      {&CTVLCtreeRs::First, 1, "a   "},
  };
  for (const auto& [move, result, key] : moves) {
    EXPECT_EQ((set_.*move)(), result);
    EXPECT_STREQ(set_.Key1(-1), key);
  }
  for (const int row : {-2, 3, 1'000'000}) {
    EXPECT_EQ(set_.MoveAt(row), 0);
    EXPECT_EQ(set_.Rec(row), nullptr);
    EXPECT_EQ(set_.SetKey1("x", 1, row), 0);
  }
  EXPECT_EQ(set_.MoveAt(-1), 0) << "-1 is not the current row here";
}

TEST_F(RecordSet, KeysArePadded) {
  Open();
  EXPECT_EQ(set_.AddNew(nullptr, nullptr, nullptr), 1);
  EXPECT_STREQ(set_.Key1(0), "    ");
  EXPECT_STREQ(set_.Key2(0), "   ");
  EXPECT_EQ(std::memcmp(set_.Rec(0), "\0\0\0\0\0\0", kRecord), 0);
  EXPECT_EQ(set_.SetKey1("ab", 0, -1), 1);
  EXPECT_EQ(string(set_.Key1(0), kKey1 + 1), string("ab\0\0", kKey1 + 1));
  EXPECT_EQ(set_.SetKey1(nullptr, 1, 0), 1);
  EXPECT_STREQ(set_.Key1(0), "    ");
  EXPECT_EQ(set_.SetKey1("abcdef", 1, 0), 1);
  EXPECT_EQ(set_.SetKey2("xyz9", 1, 0), 1);
  EXPECT_STREQ(set_.Key1(0), "abcd");
  EXPECT_STREQ(set_.Key2(0), "xyz");
}

TEST_F(RecordSet, WritesAndReadsRowsInOneBlock) {
  Open();
  EXPECT_EQ(set_.WriteTheBlock(), TVL_OK) << "nothing to write";
  EXPECT_EQ((Codes{set_.Extend(10), set_.Extend(3)}), (Codes{1, 1}));
  EXPECT_EQ(set_.Count(), 0);
  Add({"b1", "a1", "a2"});
  EXPECT_EQ(set_.WriteTheBlock(), TVL_OK);
  EXPECT_EQ(set_.Count(), 3) << "the rows stay";
  EXPECT_EQ(set_.ReadKeyPrefiz(Arg("a")), 1);
  EXPECT_EQ(Keys(), (std::vector<string>{"a1  ", "a2  "}));
  EXPECT_STREQ(set_.Key2(0), "   ") << "only the key searched comes";
  Add({"a3"});
  EXPECT_EQ(set_.DeleteKeys(Arg("b1\x01k2\x02")), TVL_OK);
  EXPECT_EQ(set_.DeleteKeyPrefiz(Arg("a2\x01")), TVL_OK);
  EXPECT_EQ(set_.Count(), 3) << "deleting works on the table";
  EXPECT_EQ(set_.ReadKeyPrefiz(Arg("b")), 1);
  EXPECT_EQ(set_.Count(), 0) << "found nothing, and the former rows are gone";
}

TEST_F(RecordSet, FieldsBelongToAttachedRow) {
  Open();
  Add({"a", "b"});
  EXPECT_EQ(set_.SetFieldValueByName("NAME", "x"), 0) << "no record yet";
  CTVLCtreeRecord record;
  ASSERT_EQ(record.Attach("name-D4 n-F2", kRecord), 1);
  EXPECT_EQ(set_.Attach(&record, 0), 1);
  set_.Last();
  EXPECT_EQ(set_.SetFieldValueByName("name", "ann"), 1) << "moving doesn't move the record";
  EXPECT_EQ(set_.SetIntFieldValueByIdx(1, 42), 1);
  EXPECT_EQ(string(static_cast<char*>(set_.Rec(0)), 4), "ann ");
  EXPECT_EQ(string(static_cast<char*>(set_.Rec(1)), 4), "reco");
  EXPECT_EQ(set_.GetIntFieldValueByName("n"), 42);
  char text[8];
  EXPECT_EQ(set_.GetFieldValueByName("name", text), 1);
  EXPECT_STREQ(text, "ann");
  EXPECT_EQ(set_.Attach(&record, 5), 0);
  EXPECT_EQ(set_.GetFieldValueByIdx(0, text), 1) << "the record is remembered, and points where it did";
}

TEST_F(RecordSet, SetsShareTheirTable) {
  Open();
  CTVLCtreeRs second(&connection_);
  ASSERT_EQ(second.Open(Arg("T.DAT")), TVL_OK);
  EXPECT_EQ(second.DatLen(), kRecord);
  Add({"a"});
  ASSERT_EQ(set_.WriteTheBlock(), TVL_OK);
  set_.Close();
  EXPECT_EQ(second.ReadKeyPrefiz(Arg("a")), 1);
  EXPECT_EQ(second.Count(), 1);
  CTVLCtreeRs copy(second);
  EXPECT_EQ(copy.WriteTheBlock(), TVL_ERR_RS_OPEN) << "a copy starts closed";
  copy = second;
  EXPECT_EQ(copy.InitAndOpen(Arg("t.dat"), kRecord, kKey1, kKey2), TVL_OK) << "recreates the table";
  EXPECT_EQ(second.ReadKeyPrefiz(Arg("a")), 0);
  EXPECT_EQ(second.Count(), 1) << "a read that fails keeps the rows";
  EXPECT_EQ(second.WriteTheBlock(), TVL_ERR_SERVER_FILE);
}

}  // namespace
