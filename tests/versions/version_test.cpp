#include <gtest/gtest.h>

#include <string>

#include <tvlclient/version.h>

#include "directory/small_store.h"
#include "support/arg.h"
#include "support/temp_folder.h"

namespace {

using std::string;

TEST(Version, TotalsBecomeTexts) {
  const struct {
    int total, build;
    const char *date, *version, *build_text;
  } rows[] = {
      {53110423, 0, "23/04/2011", "5.3", "11.04.23"},
      {0, 110423, "23/04/2011", "0.0", "00.00.00"},
      {0, 0, "00/00/2000", "0.0", "00.00.00"},
      {99991231, 10102, "02/01/2001", "9.9", "99.12.31"},
      {7000000, 0, "00/00/2000", "0.7", "00.00.00"},
      {123110423, 0, "23/04/2011", "12.3", "11.04.23"},
      {53110423, 991231, "31/12/2099", "5.3", "11.04.23"},
  };
  for (const auto& row : rows) {
    EXPECT_STREQ(TVLGetVersionDateFromTotal(row.total, row.build).GetString(), row.date) << row.total;
    EXPECT_STREQ(GetTavolisVersionString(row.total).GetString(), row.version) << row.total;
    EXPECT_STREQ(GetTavolisBuildString(row.total).GetString(), row.build_text) << row.total;
  }
}

TEST(Version, OfAFileAndOfTheStoreThatHasIt) {
  const struct {
    const char* name;
    string contents;
    int known, version, build;
  } rows[] = {
      {"both keys", "x@versione=5.3.1\n@build=110423", 1, 53, 110423},
      {"the other order", "@build=11.04.23;@versione=53", 1, 53, 110423},
      {"one digit", "@versione=5", 1, 50, 0},
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
  for (const auto& row : rows) {
    SmallStore store("[Environments]\nVersionFile=v.txt\n");
    store.folder.Write("root/v.txt", row.contents);
    int version = -1;
    int build = -1;
    int total = -1;
    EXPECT_EQ(TVLGetVersionFromFile(Arg(store.folder.Logical("root/v.txt")), &version, &build, &total),
              row.known)
        << row.name;
    EXPECT_EQ(version, row.version) << row.name;
    EXPECT_EQ(build, row.build) << row.name;
    EXPECT_EQ(total, row.version * 1000000 + row.build) << row.name;
    store.opr.Close();
    ASSERT_EQ(store.Open(), 0);
    unsigned int major = 0;
    int minor = 0;
    EXPECT_EQ(store.opr.VersionNumber(&major, &minor), static_cast<unsigned int>(total)) << row.name;
    EXPECT_EQ(major, static_cast<unsigned int>(row.version));
    EXPECT_EQ(minor, row.build);
  }
}

TEST(Version, OfAFileThatIsNone) {
  const TempFolder folder;
  for (const char* name : {"", "none"}) {
    int version = 7;
    int build = 7;
    EXPECT_EQ(TVLGetVersionFromFile(Arg(folder.Logical(name)), &version, &build, nullptr), 0);
    EXPECT_EQ(version + build, 0);
  }
}

}  // namespace
