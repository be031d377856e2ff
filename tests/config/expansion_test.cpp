#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "config/config.h"
#include "support/temp_folder.h"

namespace {

using std::string;

class Expansion : public testing::Test {
 protected:
  // Reads these variables; the root is there so that the reading goes on to the expansion.
  void Read(const string& variables) {
    folder_.Write("x.ini", "[Environments]\nDocumentRoot=r\nTmpDir=t\n" + variables);
    ASSERT_EQ(config_.Read(folder_.Logical("x.ini").c_str()), 0);
  }

  TempFolder folder_;
  CConfig config_;
};

TEST_F(Expansion, FollowsItsGrammar) {
  const string name31(31, 'n');
  const string name32(32, 'n');
  const struct {
    string value;
    string expected;
  } cases[] = {
      {"c:/data", "c:/data"},
      {"$Base/docs", "c:/data\\docs"},
      {"100%$", "100%$"},
      {"%$/a", "%$/a"},
      {"$A%$", "x$"},
      {"$A%", "x%"},
      {"%%$$A", "%$x"},
      {"%a$A", "%ax"},
      {"$A$A", "xx"},
      {"$Undefined/x", "\\x"},
      {"$", ""},
      {"$-x", "-x"},
      {"$$A", "x"},
      {"$A.b/", "x.b\\"},
      {"$a_b", "under"},
      {"$A-b", "x-b"},
      {"$documentroot", "r"},
      {"$V/b", "\\b"},
      {"$v$V", ""},
      {"$" + name31, "31"},
      {"$" + name32, ""},
      {"$" + string(500, 'n') + "/e", "\\e"},
      {"$Raw", "p/%$q"},
      {"$Late", "y\\"},
      {"$A\xE0/", "x\xE0\\"},
  };
  string others = "Base=c:/data\nA=x\na_b=under\nRaw=p/%$q\nZ=y\nLate=$Z/\n";
  others.append(name31).append("=31\n").append(name32).append("=32\nV=");
  for (const auto& row : cases) {
    Read(others + row.value);
    EXPECT_EQ(config_.Get("v"), row.expected) << row.value;
  }
}

TEST_F(Expansion, OfACircleEndsWithTheEmptyText) {
  Read("A=a$B\nB=b$C\nC=c$A\nD=d$C");
  EXPECT_STREQ(config_.Get("A"), "abc");
  EXPECT_STREQ(config_.Get("B"), "bc");
  EXPECT_STREQ(config_.Get("C"), "c");
  EXPECT_STREQ(config_.Get("D"), "dc");
}

TEST_F(Expansion, IsCutAtItsGreatestLength) {
  string variables = "B=" + string(1000, 'b') + "\n";
  for (const char* references : {"$B$B$B$B", "$B$B$B$B$B", "$B$B$B$B$B$B/end"}) {
    Read(variables + "V=" + references);
    EXPECT_EQ(string(config_.Get("V")).size(), string(references).size() == 8 ? 4000U : 4095U);
  }
  Read(variables + "A=$B$B$B$B$B\nV=$A$A/x");
  EXPECT_EQ(config_.Get("V"), string(4095, 'b'));
  Read("V=" + string(9000, 'v'));
  EXPECT_EQ(string(config_.Get("V")).size(), 9000U) << "without a reference a value is left alone";
}

// As deep as a section has room for lines.
TEST_F(Expansion, FollowsChainsToAnyDepth) {
  constexpr int kDepth = 2900;
  string variables;
  char line[40];
  for (int i = 0; i < kDepth; ++i) {
    const int length = snprintf(line, sizeof line, "%x=$%x\n", 0x1000 + i, 0x1000 + i + 1);
    variables.append(line, static_cast<std::size_t>(length));
  }
  snprintf(line, sizeof line, "%x", 0x1000 + kDepth - 1);
  Read(variables.substr(0, variables.rfind('$')) + "end");
  EXPECT_STREQ(config_.Get("1000"), "end");
  EXPECT_EQ(config_.entryCount, kDepth + 4);
  Read(variables.substr(0, variables.rfind('$')) + "x$1000");
  EXPECT_STREQ(config_.Get(line), "x");
}

TEST_F(Expansion, HappensOnceForARow) {
  CConfig config;
  config.Set("A", "x");
  ConfigEntry* row = config.Set("V", "$A%$");
  EXPECT_EQ(config.Expand(row), 1);
  EXPECT_STREQ(row->value, "x$");
  EXPECT_EQ(config.Expand(row), 0);
  EXPECT_STREQ(row->value, "x$");
  EXPECT_EQ(config.Expand(config.Set("W", "%$")), 0);
}

}  // namespace
