#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <random>
#include <string>

#include <tvlclient/version.h>

#include "support/arg.h"
#include "support/scale.h"
#include "support/temp_folder.h"
#include "versions/executable_file.h"

namespace {

using std::string;

// A file in memory, whose contents change from case to case.
class ExecutableVersion : public testing::TestWithParam<bool> {
 protected:
  ExecutableVersion()
      : file(memfd_create("executable", MFD_CLOEXEC)), path("\\proc\\self\\fd\\" + std::to_string(file)) {}
  ~ExecutableVersion() override { close(file); }

  void Put(const string& bytes) const {
    ASSERT_EQ(ftruncate(file, 0), 0);
    ASSERT_EQ(pwrite(file, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  }
  [[nodiscard]] string Numbers() const {
    int version = -1;
    int build = -1;
    int total = -1;
    const int known = TVLGetVersionFromTavolisWinExe(Arg(path), &version, &build, &total);
    return std::to_string(known) + " " + std::to_string(version) + " " + std::to_string(build) + " " +
           std::to_string(total);
  }
  [[nodiscard]] string Text() const { return TVLGetVersionStringFromWinExe(Arg(path)).GetString(); }
  [[nodiscard]] string Label() const { return TVLGetVersionStringFromTavolisWinExe(Arg(path)).GetString(); }

  int file;
  string path;
};

INSTANTIATE_TEST_SUITE_P(BothFormats, ExecutableVersion, testing::Bool());

TEST_P(ExecutableVersion, IsReadFromItsTexts) {
  const struct {
    ExecutableFile file;
    const char *numbers, *text, *label;
  } rows[] = {
      {{false, true, "5.3.0.1", "110423"}, "1 53 110423 53110423", "5.3.0.1", "5.3 [11.04.23]"},
      {{false, true, "5, 3, 0, 1", "11.04.23"}, "1 50 110423 50110423", "5.3.0.1", "5.0 [11.04.23]"},
      {{false, true, "5.3 beta", "11x"}, "1 53 110000 53110000", "5.3.", "5.3 [11.00.00]"},
      {{false, true, "v5", "1104235"}, "1 0 110423 110423", "5", "0.0 [11.04.23]"},
      {{false, true, "a5b6c", {}}, "1 0 0 0", "5.6.", "0.0 [00.00.00]"},
      {{false, true, "", ""}, "1 0 0 0", "", "0.0 [00.00.00]"},
      {{false, true, {}, "110423"}, "1 0 110423 110423", "Non definita", "0.0 [11.04.23]"},
      {{false, true, {}, {}}, "1 0 0 0", "Non definita", "0.0 [00.00.00]"},
      {{false, false, "5.3", "110423"}, "0 0 0 0", "Non definita", "non definita"},
      {{false, true, string(3000, '7'), {}}, "1 77 0 77000000", nullptr, "7.7 [00.00.00]"},
  };
  for (const auto& row : rows) {
    ExecutableFile executable = row.file;
    executable.plus = GetParam();
    Put(executable.Bytes());
    EXPECT_EQ(Numbers(), row.numbers);
    EXPECT_EQ(Text(), row.text == nullptr ? string(3000, '7') : row.text);
    EXPECT_EQ(Label(), row.label);
  }
}

TEST_P(ExecutableVersion, OutputsMayBeLeftOut) {
  Put(ExecutableFile{GetParam(), true, "5.3", "110423"}.Bytes());
  int total = 0;
  EXPECT_EQ(TVLGetVersionFromTavolisWinExe(Arg(path), nullptr, nullptr, &total), 1);
  EXPECT_EQ(total, 53110423);
  int version = 0;
  EXPECT_EQ(TVLGetVersionFromTavolisWinExe(Arg(path), &version, nullptr, nullptr), 1);
  EXPECT_EQ(version, 53);
}

// Whatever is read from a damaged file has the form that it has from a whole one.
void ExpectSane(const string& numbers, const string& text, const string& label) {
  int known = 0;
  int version = 0;
  int build = 0;
  int total = 0;
  ASSERT_EQ(std::sscanf(numbers.c_str(), "%d %d %d %d", &known, &version, &build, &total), 4);
  EXPECT_TRUE(version >= 0 && version <= 99 && build >= 0 && build <= 999999 &&
              total == version * 1000000 + build)
      << numbers;
  EXPECT_TRUE(known == 1 || total == 0) << numbers;
  EXPECT_EQ(label == "non definita", known == 0) << label;
  EXPECT_TRUE(text == "Non definita" || text.find_first_not_of("0123456789.") == string::npos) << text;
}

TEST_P(ExecutableVersion, CutAnywhereItHasNone) {
  const string whole = ExecutableFile{GetParam(), true, "5.3.0.1", "110423"}.Bytes();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    Put(whole.substr(0, length));
    ASSERT_EQ(Numbers(), "0 0 0 0") << length;
    ASSERT_EQ(Text(), "Non definita") << length;
  }
  Put(whole);
  EXPECT_EQ(Numbers(), "1 53 110423 53110423");
}

TEST_P(ExecutableVersion, DamagedAnywhereItIsReadWithinBounds) {
  const string whole = ExecutableFile{GetParam(), true, "5.3.0.1", "110423"}.Bytes();
  std::mt19937 random(7);
  int survived = 0;
  for (int round = 0; round < Rounds(2000); ++round) {
    string bytes = whole;
    for (std::size_t hits = 1 + random() % 4; hits > 0; --hits) {
      // Most of the bytes that lead somewhere are no zeros.
      std::size_t at = random() % bytes.size();
      while (round % 2 == 0 && whole[at] == 0) at = random() % bytes.size();
      const char others[] = {'\0', '\1', '\x7F', '\x80', '\xFF', static_cast<char>(random())};
      bytes[at] = others[random() % sizeof others];
    }
    Put(bytes);
    const string numbers = Numbers();
    ExpectSane(numbers, Text(), Label());
    if (HasFailure()) FAIL() << "round " << round;
    survived += numbers[0] - '0';
  }
  EXPECT_GT(survived, 0);
  EXPECT_LT(survived, Rounds(2000));
}

TEST_P(ExecutableVersion, OtherFilesHaveNone) {
  const TempFolder folder;
  folder.Make("folder");
  for (const string& name : {folder.Logical("none"), folder.Logical("folder"), string("\\dev\\null"),
                             string("\\proc\\self\\exe"), string()}) {
    path = name;
    EXPECT_EQ(Numbers(), "0 0 0 0") << name;
    EXPECT_EQ(Text(), "Non definita");
    EXPECT_EQ(Label(), "non definita");
  }
}

}  // namespace
