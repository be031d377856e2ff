#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "scale/scale.h"

namespace {

// What a call returned, and what it stored.
struct Answer {
  int result = 0;
  int problem = 0;
  std::string key;
  std::string record;
  bool operator==(const Answer&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  return out << answer.result << " (problem " << answer.problem << ") " << testing::PrintToString(answer.key)
             << ": " << testing::PrintToString(answer.record);
}

using Call = std::function<Answer(int handle)>;

Answer Plain(int result) {
  return {result, GetLastProblem(), {}, {}};
}

Call Write(const std::string& key1, const std::string& key2, const std::string& record) {
  return [=](int handle) {
    std::string bytes = record;
    bytes.resize(20, ' ');
    return Plain(WriteRawKeys(handle, key1.c_str(), key2.c_str(), bytes.data()));
  };
}

// "-" means a null pointer.
Call Delete(const std::string& key1, const std::string& key2) {
  return [=](int handle) {
    return Plain(
        DeleteKeys(handle, key1 == "-" ? nullptr : key1.c_str(), key2 == "-" ? nullptr : key2.c_str()));
  };
}

constexpr decltype(&ReadKeyEq) kReads[] = {ReadKeyEq, ReadKeyGt, ReadKeyGtEq, ReadKeyLt, ReadKeyLtEq};

Call Read(std::size_t mode, int keyNumber, const std::string& key) {
  return [=](int handle) {
    char found[8] = {};
    char record[21] = {};
    std::memcpy(found, key.c_str(), key.size() + 1);
    Answer answer = Plain(kReads[mode](handle, keyNumber, found, record));
    answer.key = found;
    answer.record = record;
    return answer;
  };
}

Call Begin(int for_writing) {
  return [=](int handle) { return Plain(BeginBatch(handle, for_writing)); };
}

Answer End(int handle) {
  return Plain(EndBatch(handle));
}

// Reads all records in an order.
std::vector<Answer> All(int handle, int keyNumber, bool upward) {
  std::vector<Answer> rows;
  Answer row = Read(upward ? 2 : 4, keyNumber, upward ? "" : "\xff\xff\xff\xff")(handle);
  for (; row.result == 1 && rows.size() < 1000; row = Read(upward ? 1 : 3, keyNumber, row.key)(handle))
    rows.push_back(row);
  return rows;
}

class BothEngines : public ScaleTest {
 protected:
  void SetUp() override {
    ScaleTest::SetUp();
    if (IsSkipped()) return;
    local_ = Make(Local());
    remote_ = Make(Remote());
    ASSERT_GT(local_, 0) << GetLastErrorText();
    ASSERT_GT(remote_, 0) << GetLastErrorText();
    ASSERT_EQ(folder_.Read("remote/t.dat").substr(0, 10), "TVLTABLE 1");
  }

  void ExpectSame(const Call& call, const std::string& what) {
    const Answer expected = call(local_);
    ASSERT_EQ(call(remote_), expected) << what << ": " << GetLastErrorText();
  }

  int local_ = 0;
  int remote_ = 0;
};

// Each call with the result that both engines must have. The rows before: b/B, d/D, f/F, and m, l with key 2
// K.
TEST_F(BothEngines, AnswerTheSame) {
  const struct {
    const char* what;
    Call call;
    int result;
    const char* key;  // of the row found
  } cases[] = {
      {"equal", Read(0, 1, "d"), 1, "d   "},
      {"cut key", Read(0, 1, "d   x"), 1, "d   "},
      {"absent", Read(0, 1, "c"), 0, "c"},
      {"greater", Read(1, 1, "d"), 1, "f   "},
      {"first above blanks", Read(1, 1, ""), 1, "b   "},
      {"last", Read(3, 1, "\xff\xff\xff\xff"), 1, "\xff   "},
      {"below all", Read(3, 1, "\x01"), 0, "\x01"},
      {"first of equal second keys", Read(0, 2, "K"), 1, "K  "},
      {"beyond equal second keys", Read(1, 2, "K"), 1, "\xff  "},
      {"continued below a blank", Read(3, 1, "d"), 1, "d\x01  "},
      {"no such key number", Read(0, 3, "d"), 0, "d"},
      {"replaced, key 2 kept", Write("d", "  ", "new"), 1, nullptr},
      {"found by the kept key", Read(0, 2, "D"), 1, "D  "},
      {"deleted by wrong second key", Delete("d", "x"), 0, nullptr},
      {"deleted by nothing", Delete("-", ""), 0, nullptr},
      {"deleted by blanks", Delete("    ", "-"), 0, nullptr},
      {"deleted by second key", Delete("-", "K"), 1, nullptr},
      {"deleted by both", Delete("d", "D"), 1, nullptr},
      {"deleted again", Delete("d", "D"), 0, nullptr},
      {"end without a batch", End, 0, nullptr},
      {"reading batch", Begin(0), 1, nullptr},
      {"no writing in it", Begin(1), 0, nullptr},
      {"reads in it", Read(2, 1, "c"), 1, "d\x01  "},
      {"its end", End, 1, nullptr},
      {"writing batch", Begin(1), 1, nullptr},
      {"nested", Begin(1), 1, nullptr},
      {"row in a batch", Write("g", "G", "g"), 1, nullptr},
      {"seen by the batch", Read(1, 1, "f"), 1, "g   "},
      {"row of null in a batch", [](int handle) { return Plain(WriteRawKeys(handle, "h", "", nullptr)); }, 0,
       nullptr},
      {"inner end", End, 1, nullptr},
      {"outer end", End, 1, nullptr},
      {"kept", Read(0, 2, "G"), 1, "G  "},
  };
  for (const char* key : {"b", "d", "f", "\x01", "\xff", "d\x01"}) {
    const std::string second(1, static_cast<char>(toupper(*key)));
    ExpectSame(Write(key, second, key), key);
  }
  for (const char* key : {"m", "l"}) ExpectSame(Write(key, "K", key), key);
  for (const auto& [what, call, result, key] : cases) {
    const Answer expected = call(local_);
    EXPECT_EQ(expected.result, result) << what;
    if (key != nullptr) {
      EXPECT_EQ(expected.key, key) << what;
    }
    const Answer answer = call(remote_);
    EXPECT_EQ(answer.result, expected.result) << what << ": " << GetLastErrorText();
    EXPECT_EQ(answer.key + answer.record, expected.key + expected.record) << what;
  }
  for (const int keyNumber : {1, 2}) EXPECT_EQ(All(remote_, keyNumber, true), All(local_, keyNumber, true));
}

class RandomCalls {
 public:
  explicit RandomCalls(unsigned int seed) : random_(seed) {}

  Call Next(std::string& what) {
    const unsigned int kind = Below(100);
    if (kind < 45) return Reading(what);
    if (kind < 75) return Writing(what);
    if (kind < 85) return Deleting(what);
    if (in_batch_) {
      what = "end";
      in_batch_ = false;
      return End;
    }
    in_batch_ = true;
    may_write_ = Below(3) > 0;
    what = may_write_ ? "begin writing" : "begin reading";
    return Begin(may_write_ ? 1 : 0);
  }

 private:
  unsigned int Below(unsigned int limit) { return static_cast<unsigned int>(random_() % limit); }

  std::string Key(std::size_t longest) {
    constexpr char letters[] = {'\x01', ' ', '0', 'a', 'B', '\x7f', '\xff'};
    std::string key(Below(static_cast<unsigned int>(longest) + 1), ' ');
    for (char& letter : key) letter = letters[Below(sizeof letters)];
    return key;
  }

  Call Reading(std::string& what) {
    const std::size_t mode = Below(5);
    const int number = 1 + static_cast<int>(Below(2));
    what = "read mode " + std::to_string(mode);
    return Read(mode, number, Key(number == 1 ? 4 : 3));
  }

  // In a batch for reading, a file of its own could be written, and a snapshot of a server cannot.
  Call Writing(std::string& what) {
    if (in_batch_ && !may_write_) return Reading(what);
    what = "write";
    return Write(Key(3), Key(2), std::to_string(random_()));
  }

  Call Deleting(std::string& what) {
    if (in_batch_ && !may_write_) return Reading(what);
    what = "delete";
    const std::string key1 = Below(4) == 0 ? "-" : Key(3);
    return Delete(key1, Below(4) == 0 ? Key(2) : "-");
  }

  std::mt19937 random_;
  bool in_batch_ = false;
  bool may_write_ = false;
};

TEST_F(BothEngines, AgreeOnRandomCalls) {
  constexpr int calls = 10'000;
  const unsigned int seed = std::random_device{}();
  RandomCalls random(seed);
  for (int i = 0; i < calls; ++i) {
    std::string what;
    const Call call = random.Next(what);
    ExpectSame(call, "seed " + std::to_string(seed) + ", call " + std::to_string(i) + ", " + what);
    if (HasFatalFailure()) return;
  }
  while (EndBatch(local_) == 1) {
  }
  while (EndBatch(remote_) == 1) {
  }
  for (const int keyNumber : {1, 2}) {
    for (const bool upward : {true, false}) {
      const std::vector<Answer> expected = All(local_, keyNumber, upward);
      EXPECT_GT(expected.size(), keyNumber == 1 ? 50U : 5U);
      EXPECT_EQ(All(remote_, keyNumber, upward), expected);
      EXPECT_EQ(BeginBatch(remote_, 0), 1);
      EXPECT_EQ(All(remote_, keyNumber, upward), expected) << "read ahead";
      EXPECT_EQ(EndBatch(remote_), 1);
    }
  }
}

}  // namespace
