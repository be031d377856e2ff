#include <tvlclient/version.h>

#include "directory/small_store.h"

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
    EXPECT_EQ(version + build, 0);
  }
}

}  // namespace
