#include <sys/mman.h>

#include <random>
#include <regex>

#include <tvlclient/version.h>

#include "directory/small_store.h"
#include "support/scale.h"
#include "support/testing.h"
#include "versions/executable_file.h"

namespace {

TEST(Version, ConvertsTotalsToTexts) {
  const std::tuple<int, int, const char*, const char*, const char*> rows[] = {
      {53110423, 0, "23/04/2011", "5.3", "11.04.23"}, {0, 110423, "23/04/2011", "0.0", "00.00.00"},
      {0, 0, "00/00/2000", "0.0", "00.00.00"},        {99991231, 10102, "02/01/2001", "9.9", "99.12.31"},
      {7000000, 0, "00/00/2000", "0.7", "00.00.00"},  {123110423, 0, "23/04/2011", "12.3", "11.04.23"}};
  for (const auto& [total, build, date, version, build_text] : rows) {
    EXPECT_STREQ(TVLGetVersionDateFromTotal(total, build).GetString(), date) << total;
    EXPECT_STREQ(GetTavolisVersionString(total).GetString(), version) << total;
    EXPECT_STREQ(GetTavolisBuildString(total).GetString(), build_text) << total;
  }
}

TEST(Version, ReadsVersionOfFileAndStore) {
  const std::tuple<const char*, string, int, int, int> rows[] = {
      {"both keys", "x@versione=5.3.1\n@build=110423", 1, 53, 110423},
      {"the other order", "@build=11.04.23;@versione=53", 1, 53, 110423},
      {"a build alone", "@build=110423", 1, 0, 110423},
      {"a letter ends it", "@versione=5.3@build=11x", 1, 53, 110000},
      {"no key", "version 5.3", 1, 0, 0},
      {"keys in other case", "@Versione=53", 1, 0, 0},
      {"the first place counts", "@versione=1 @versione=5.3", 1, 10, 0},
      {"points alone", "@versione=...@build=", 1, 0, 0},
      {"a zero byte ends it", string("@versione=5.3\0@build=110423", 27), 1, 53, 0},
      {"too far behind", string(1023, ' ') + "@versione=5.3", 1, 0, 0},
      {"cut at the end", string(1011, ' ') + "@versione=5.3", 1, 50, 0},
      {"longer than its field", "@versione=12345678901234567890@build=1234567", 1, 12, 123456},
      {"an empty file", "", 0, 0, 0},
  };
  for (const auto& [name, contents, known, version, build] : rows) {
    SmallStore store("[Environments]\nVersionFile=v.txt\n");
    store.folder.Write("root/v.txt", contents);
    int read[3] = {-1, -1, -1};
    EXPECT_EQ(TVLGetVersionFromFile(Arg(store.folder.Logical("root/v.txt")), &read[0], &read[1], &read[2]),
              known)
        << name;
    const int total = version * 1000000 + build;
    EXPECT_EQ(std::tie(read[0], read[1], read[2]), std::tie(version, build, total)) << name;
    store.opr.Close();
    ASSERT_EQ(store.Open(), 0);
    EXPECT_EQ(store.opr.VersionNumber(nullptr, nullptr), static_cast<unsigned int>(total)) << name;
  }
}

TEST(Version, InvalidFilesHaveNone) {
  const TempFolder folder;
  for (const char* name : {"", "none"}) {
    int version = 7;
    int build = 7;
    EXPECT_EQ(TVLGetVersionFromFile(Arg(folder.Logical(name)), &version, &build, nullptr), 0);
    EXPECT_EQ((Codes{version, build}), Codes(2));
  }
}

constexpr char kNone[] = "0 0 0 0|Non definita|non definita";

// Returns the results of all functions for a file.
string Results(const string& path) {
  int numbers[3] = {-1, -1, -1};
  string results =
      std::to_string(TVLGetVersionFromTavolisWinExe(Arg(path), &numbers[0], &numbers[1], &numbers[2]));
  for (const int number : numbers) results += " " + std::to_string(number);
  return results + "|" + TVLGetVersionStringFromWinExe(Arg(path)).GetString() + "|" +
         TVLGetVersionStringFromTavolisWinExe(Arg(path)).GetString();
}

// A file in memory, whose contents change from case to case.
class ExecutableVersion : public testing::TestWithParam<bool> {
 protected:
  ExecutableVersion() : file_(memfd_create("executable", MFD_CLOEXEC)) {}
  ~ExecutableVersion() override { close(file_); }

  [[nodiscard]] string ResultsFor(const string& bytes) const {
    EXPECT_EQ(ftruncate(file_, 0), 0);
    EXPECT_EQ(pwrite(file_, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    return Results("\\proc\\self\\fd\\" + std::to_string(file_));
  }

  int file_;
  const string whole_ = ExecutableFile{GetParam(), true, "5.3.0.1", "110423"}.Bytes();
};

INSTANTIATE_TEST_SUITE_P(BothFormats, ExecutableVersion, testing::Bool());

TEST_P(ExecutableVersion, IsReadFromItsTexts) {
  const bool plus = GetParam();
  const std::pair<ExecutableFile, string> rows[] = {
      {{plus, true, "5.3.0.1", "110423"}, "1 53 110423 53110423|5.3.0.1|5.3 [11.04.23]"},
      {{plus, true, "5.3.0.1", "110423", true}, "1 53 110423 53110423|5.3.0.1|5.3 [11.04.23]"},
      {{plus, true, "5, 3, 0, 1", "11.04.23"}, "1 50 110423 50110423|5.3.0.1|5.0 [11.04.23]"},
      {{plus, true, "5.3 beta", "11x"}, "1 53 110000 53110000|5.3.|5.3 [11.00.00]"},
      {{plus, true, "a5b6c", "1104235"}, "1 0 110423 110423|5.6.|0.0 [11.04.23]"},
      {{plus, true, "", ""}, "1 0 0 0||0.0 [00.00.00]"},
      {{plus, true, {}, "110423"}, "1 0 110423 110423|Non definita|0.0 [11.04.23]"},
      {{plus, true, "5", {}}, "1 50 0 50000000|5|5.0 [00.00.00]"},
      {{plus, false, "5.3", "110423"}, kNone},
      {{plus, true, string(3000, '7'), {}}, "1 77 0 77000000|" + string(3000, '7') + "|7.7 [00.00.00]"},
  };
  for (const auto& [file, results] : rows) EXPECT_EQ(ResultsFor(file.Bytes()), results);
}

TEST_P(ExecutableVersion, TruncatedFileHasNone) {
  for (std::size_t length = 0; length < whole_.size(); ++length)
    ASSERT_EQ(ResultsFor(whole_.substr(0, length)), kNone) << length;
}

// Results for a damaged file have the same form as for an intact one.
TEST_P(ExecutableVersion, DamagedFileIsReadWithinBounds) {
  const std::regex form(R"(1 \d\d? \d{1,6} \d{1,8}\|(Non definita|[\d.]*)\|\d\.\d \[\d\d\.\d\d\.\d\d\])");
  std::mt19937 random(7);
  int survived = 0;
  for (int round = 0; round < Rounds(2000); ++round) {
    string bytes = whole_;
    for (std::size_t hits = 1 + random() % 4; hits > 0; --hits) {
      // Most bytes that matter are not zeros.
      std::size_t at = random() % bytes.size();
      while (round % 2 == 0 && whole_[at] == 0) at = random() % bytes.size();
      const char others[] = {'\0', '\1', '\x7F', '\x80', '\xFF', static_cast<char>(random())};
      bytes[at] = others[random() % sizeof others];
    }
    const string results = ResultsFor(bytes);
    ASSERT_TRUE(results == kNone || std::regex_match(results, form)) << results << " in round " << round;
    survived += results != kNone;
  }
  EXPECT_GT(survived, 0);
  EXPECT_LT(survived, Rounds(2000));
}

TEST(ExecutableVersions, OtherFilesHaveNoneAndOutputsAreOptional) {
  const TempFolder folder;
  folder.Write("exe", ExecutableFile{false, true, "5.3", "110423"}.Bytes());
  for (const string& path : {folder.Logical("none"), folder.Logical(), string("\\dev\\null"),
                             string("\\proc\\self\\exe"), string()})
    EXPECT_EQ(Results(path), kNone) << path;
  int total = 0;
  EXPECT_EQ(TVLGetVersionFromTavolisWinExe(Arg(folder.Logical("exe")), nullptr, nullptr, &total), 1);
  EXPECT_EQ(total, 53110423);
}

}  // namespace
