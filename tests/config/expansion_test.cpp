#include <pthread.h>

#include "config/config.h"
#include "support/testing.h"

namespace {

class Expansion : public testing::Test {
 protected:
  // Reads these variables. The root exists, so that reading continues to the expansion.
  void Read(const string& variables) {
    folder_.Write("x.ini", "[Environments]\nDocumentRoot=r\nTmpDir=t\n" + variables);
    ASSERT_EQ(config_.Read(folder_.Logical("x.ini").c_str()), 0);
  }

  TempFolder folder_;
  CConfig config_;
};

TEST_F(Expansion, FollowsItsGrammar) {
  const auto expand = [this](const string& value) -> string {
    Read("Base=c:/d\nA=x\na_b=u\nRaw=p/%$q\nZ=y\nLate=$Z/\n" + string(31, 'n') + "=31\n" + string(32, 'n') +
         "=32\nV=" + value);
    return config_.Get("v");
  };
  const std::pair<const char*, const char*> rows[] = {
      {"c:/d", "c:/d"},      {"$Base/d", "c:/d\\d"}, {"100%$", "100%$"}, {"%$/a", "%$/a"},
      {"$A%$", "x$"},        {"$A%", "x%"},          {"%%$$A", "%$x"},   {"%a$A", "%ax"},
      {"$A$A", "xx"},        {"$None/x", "\\x"},     {"$", ""},          {"$-x", "-x"},
      {"$$A", "x"},          {"$A.b/", "x.b\\"},     {"$a_b", "u"},      {"$A-b", "x-b"},
      {"$tmpdir", "t"},      {"$V/b", "\\b"},        {"$Raw", "p/%$q"},  {"$Late", "y\\"},
      {"$A\xE0/", "x\xE0\\"}};
  for (const auto& [value, expected] : rows) EXPECT_EQ(expand(value), expected) << value;
  EXPECT_EQ(expand("$" + string(31, 'n')), "31");
  EXPECT_EQ(expand("$" + string(32, 'n')), "") << "longer than a name in a reference can be";
  EXPECT_EQ(expand(string(9000, 'v')), string(9000, 'v')) << "without a reference a value is left alone";
}

TEST_F(Expansion, CircularReferenceIsEmpty) {
  Read("A=a$B\nB=b$C\nC=c$A\nD=d$C");
  EXPECT_STREQ(config_.Get("A"), "abc");
  EXPECT_STREQ(config_.Get("B"), "bc");
  EXPECT_STREQ(config_.Get("C"), "c");
  EXPECT_STREQ(config_.Get("D"), "dc");
}

TEST_F(Expansion, IsCutAtMaximumLength) {
  const string variables = "B=" + string(1000, 'b') + "\nA=$B$B$B$B$B\n";
  for (const char* references : {"$B$B$B$B", "$B$B$B$B$B", "$B$B$B$B$B$B/end", "$A$A/x"}) {
    Read(variables + "V=" + references);
    EXPECT_EQ(config_.Get("V"), string(string(references).size() == 8 ? 4000 : 4095, 'b'));
  }
}

void* ExpandAll(void* config) {
  for (int row = 0; row < static_cast<CConfig*>(config)->entryCount; ++row)
    static_cast<CConfig*>(config)->Expand(&static_cast<CConfig*>(config)->entries[row]);
  return nullptr;
}

// The maximum number of rows in a section, on a small stack.
TEST_F(Expansion, FollowsChainsToAnyDepth) {
  constexpr int kFirst = 1000;
  constexpr int kLast = 3900;
  string variables;
  for (int i = kFirst; i < kLast; ++i) variables += std::to_string(i) + "=$" + std::to_string(i + 1) + "\n";
  Read(variables + "3900=end");
  EXPECT_STREQ(config_.Get("1000"), "end");
  EXPECT_EQ(config_.entryCount, kLast - kFirst + 5);
  Read(variables + "3900=x$1000");
  EXPECT_STREQ(config_.Get("3900"), "x");
  CConfig chain;
  for (int i = kFirst; i < kLast; ++i)
    chain.Set(std::to_string(i).c_str(), ("$" + std::to_string(i + 1)).c_str());
  chain.Set("3900", "end");
  pthread_attr_t small;
  pthread_t thread = {};
  pthread_attr_init(&small);
  pthread_attr_setstacksize(&small, 256U << 10U);
  ASSERT_EQ(pthread_create(&thread, &small, ExpandAll, &chain), 0);
  pthread_join(thread, nullptr);
  EXPECT_STREQ(chain.Get("1000"), "end");
}

TEST_F(Expansion, HappensOncePerRow) {
  ConfigEntry* row = config_.Set("V", "%$$U");
  EXPECT_EQ(config_.Expand(row), 1);
  EXPECT_EQ(config_.Expand(row), 0);
  EXPECT_STREQ(row->value, "$");
  EXPECT_EQ(config_.Expand(config_.Set("W", "%$")), 0);
}

}  // namespace
