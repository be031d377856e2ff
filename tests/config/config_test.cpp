#include "config/config.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>
#include <string>

#include <tvlclient/client_config.h>

#include "platform/names.h"
#include "support/temp_folder.h"

namespace {

using std::string;

string Numbered(string name, int number) {
  return name.append(std::to_string(number));
}

string ComputerSection() {
  char name[16];
  DWORD size = sizeof name;
  EXPECT_EQ(GetComputerNameA(name, &size), 1);
  string lower = name;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return "[" + lower + "]\n";
}

class Config : public testing::Test {
 protected:
  // ROOT in the text stands for the path of a folder "root" to be made.
  int Load(string ini) {
    for (std::size_t at = ini.find("ROOT"); at != string::npos; at = ini.find("ROOT", at)) {
      ini.replace(at, 4, folder_.Host("root"));
    }
    folder_.Write("x.ini", ini);
    return config_.Load(folder_.Logical("x.ini").c_str());
  }

  string Root(const string& below = "") const { return folder_.Host("root") + below; }

  TempFolder folder_;
  CConfig config_;
};

constexpr char kMain[] = "[TavolisFileSystem]\n";
constexpr char kVariables[] = "[Environments]\n";

TEST_F(Config, StartsEmpty) {
  EXPECT_EQ(config_.status, 2);
  EXPECT_EQ(config_.fileCompare, 1);
  EXPECT_EQ(config_.zipOnTransfert, 0);
  EXPECT_EQ(config_.Find("x"), nullptr);
  EXPECT_STREQ(config_.Get("x"), "");
  EXPECT_EQ(CConfig("").status, 2);
  EXPECT_EQ(CConfig(folder_.Logical("none").c_str()).status, 3);
}

TEST_F(Config, DefaultsMakeAStore) {
  ASSERT_EQ(Load(string(kMain) + "DocumentRoot=ROOT\n"), 0);
  EXPECT_EQ(config_.status, 0);
  EXPECT_EQ(config_.zipOnTransfert, 1);
  EXPECT_EQ(config_.fileCompare, 1);
  EXPECT_EQ(config_.documentRoot, Root());
  EXPECT_EQ(config_.tmpDir, Root("\\tmp\\"));
  EXPECT_EQ(config_.locksDir, Root("\\tmp\\locks\\"));
  EXPECT_EQ(config_.procsDir, Root("\\tmp\\procs\\"));
  EXPECT_STREQ(config_.Get("shortname"), "TFS");
  EXPECT_STREQ(config_.Get("LongName"), "Tavolis File System");
  EXPECT_EQ(folder_.Tree("root"), (std::vector<string>{"tmp", "tmp/locks", "tmp/procs"}));
}

TEST_F(Config, EachFailureHasItsCodeAndLeavesItsState) {
  folder_.Write("file", "");
  const struct {
    string ini;
    int code;
    int entries;
    const char* tmp_dir;  // what `tmpDir` ends in; null for empty
  } cases[] = {
      {"", 3, 0, nullptr},
      {"DocumentRoot=ROOT\n", 3, 0, nullptr},
      {string(kMain) + "DocumentRoot=\n", 3, 0, nullptr},
      {string(kVariables) + "A=$B\nZ=1\n", 3, 2, nullptr},
      {string(kVariables) + "DocumentRoot=\nTmpDir=ROOT\n", 4, 2, nullptr},
      {string(kMain) + "DocumentRoot=ROOT/no/parent\n", 4, 2, nullptr},
      {string(kMain) + "DocumentRoot=" + folder_.Host("file") + "\n", 4, 2, nullptr},
      {string(kMain) + "TmpDir=ROOT\n" + kVariables + "DocumentRoot=ROOT\n", 5, 1, nullptr},
      {string(kMain) + "DocumentRoot=ROOT\nTmpDir=ROOT/no/parent\n", 6, 2, "/no/parent"},
      {string(kMain) + "DocumentRoot=ROOT\nTmpDir=\n", 6, 2, nullptr},
      {string(kVariables) + "DocumentRoot=ROOT\nTmpDir=" + folder_.Host("file") + "\n", 6, 2, "/file"},
  };
  for (const auto& row : cases) {
    ASSERT_EQ(Load(row.ini), row.code) << row.ini;
    EXPECT_EQ(config_.status, row.code);
    EXPECT_EQ(config_.entryCount, row.entries) << row.ini;
    const string tmp_dir = config_.tmpDir;
    if (row.tmp_dir == nullptr) {
      EXPECT_EQ(tmp_dir, "") << row.ini;
    } else {
      EXPECT_EQ(tmp_dir.substr(tmp_dir.size() - string(row.tmp_dir).size()), row.tmp_dir);
    }
    EXPECT_EQ(config_.sorted, row.code > 3 && row.entries > 1);
  }
  ASSERT_EQ(Load(string(kVariables) + "A=$B\nB=1\n"), 3);
  EXPECT_STREQ(config_.Get("A"), "$B") << "not expanded on the way to code 3";
  ASSERT_EQ(Load(string(kMain) + "DocumentRoot=ROOT\n"), 0) << "a failed load can be followed by a good one";
}

TEST_F(Config, SettingsAreReadFromTheirSectionOnly) {
  const struct {
    const char* keys;
    int compare, zip;
  } cases[] = {
      {"FileCompare=dumb\nZipOnTransfert=0\n", 0, 0},
      {"FileCompare=DuMb\nZipOnTransfert=5\n", 0, 5},
      {"FileCompare=TIME\nZipOnTransfert=-1\n", 2, -1},
      {"FileCompare=hash\n", 1, 1},
      {"FileCompare=timer\n", 1, 1},
      {"FileCompare=\nZipOnTransfert=no\n", 1, 0},
      {"[Environments]\nFileCompare=time\nZipOnTransfert=0\nDocumentRoot=ROOT\nTmpDir=ROOT\n", 1, 1},
  };
  for (const auto& row : cases) {
    ASSERT_EQ(Load(string(kMain) + "DocumentRoot=ROOT\n" + row.keys), 0) << row.keys;
    EXPECT_EQ(config_.fileCompare, row.compare) << row.keys;
    EXPECT_EQ(config_.zipOnTransfert, row.zip) << row.keys;
  }
}

TEST_F(Config, TheComputersSectionReplacesInPlace) {
  const string ini = string(kVariables) + "Zone=1\nBASE=ROOT\nDocumentRoot=$Base\nTmpDir=$Base/t\n" +
                     ComputerSection() + "zone=2\nextra=$Zone\n";
  ASSERT_EQ(Load(ini), 0);
  EXPECT_STREQ(config_.Get("ZONE"), "2");
  EXPECT_STREQ(config_.Find("zone")->name, "Zone");
  EXPECT_STREQ(config_.Get("Extra"), "2");
  EXPECT_EQ(config_.entryCount, 7);
}

TEST_F(Config, TheNamesAreNeitherVariablesNorExpanded) {
  const string root = string(kVariables) + "DocumentRoot=ROOT\nTmpDir=ROOT\n";
  ASSERT_EQ(Load(root + "ShortName=mine\nV=$ShortName\n" + kMain + "LongName=$X/y\n"), 0);
  EXPECT_STREQ(config_.Get("ShortName"), "TFS");
  EXPECT_STREQ(config_.Get("V"), "mine");
  EXPECT_STREQ(config_.Get("LongName"), "$X/y");
  EXPECT_EQ(config_.sorted, 0) << "LongName came behind the sorted rows";
  ASSERT_EQ(Load(root + "LongName=a\nShortName=b\n"), 0);
  EXPECT_EQ(config_.sorted, 1);
  EXPECT_STREQ(config_.Get("longname"), "Tavolis File System");
}

TEST_F(Config, ReadingTouchesNoFolder) {
  folder_.Write("x.ini", string(kMain) + "DocumentRoot=" + Root() + "\n");
  EXPECT_EQ(config_.Read(folder_.Logical("x.ini").c_str()), 0);
  EXPECT_EQ(config_.status, 2);
  EXPECT_EQ(config_.Get("TmpDir"), Root("\\tmp"));
  EXPECT_FALSE(folder_.Exists("root"));
}

// Fields of 260 bytes: what doesn't fit is no folder, and no byte goes further.
TEST_F(Config, PathsAtTheEndOfTheirFields) {
  ASSERT_EQ(Load(string(kMain) + "DocumentRoot=ROOT\n"), 0);
  const string root = Root();
  for (const std::size_t length : {251U, 252U, 253U, 254U, 258U, 259U, 260U, 261U, 4000U, 30000U}) {
    string tmp = root + "/";
    tmp.resize(length, 't');
    // "\locks\" takes 7 characters more.
    EXPECT_EQ(Load(string(kVariables) + "DocumentRoot=ROOT\nTmpDir=" + tmp + "\n"), length <= 252 ? 0 : 6)
        << length;
    EXPECT_EQ(Load(string(kVariables) + "TmpDir=ROOT\nDocumentRoot=" + tmp + "\n"),
              length <= 259 && length - root.size() <= 256 ? 0 : 4)
        << length;
    const string file = folder_.Logical("i").append(length, 'i');
    EXPECT_EQ(config_.Load(file.c_str()), 3);
    EXPECT_EQ(string(config_.iniFile), file.size() < 260 ? file : "");
  }
}

TEST_F(Config, GrowsAndFindsInEitherOrder) {
  for (int i = 999; i >= 0; --i) config_.Set(Numbered("Name", i).c_str(), std::to_string(i).c_str());
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(config_.Get(Numbered("nAME", i).c_str()), std::to_string(i));
  EXPECT_EQ(config_.Set("NAME5", "new")->expanded, 0);
  EXPECT_EQ(config_.entryCount, 1000);
  config_.Clear();
  EXPECT_EQ(config_.entries, nullptr);
  string ini = string(kMain) + "DocumentRoot=ROOT\n" + kVariables;
  for (int i = 0; i < 1000; ++i) ini += Numbered("V", i * 7919 % 1000) + "=x\n";
  ASSERT_EQ(Load(ini), 0);
  for (int i = 0; i < 1000; ++i) EXPECT_NE(config_.Find(Numbered("v", i).c_str()), nullptr);
  EXPECT_EQ(config_.Find("v1000"), nullptr);
}

TEST_F(Config, ACopyHasFoldersAndSettingsButNoRows) {
  ASSERT_EQ(Load(string(kMain) + "DocumentRoot=ROOT\nFileCompare=time\n"), 0);
  CConfig copy(config_);
  CConfig& self = copy;
  EXPECT_EQ(copy.entries, nullptr);
  EXPECT_EQ(copy.status, 2);
  EXPECT_EQ(copy.fileCompare, 2);
  EXPECT_STREQ(copy.locksDir, config_.locksDir);
  copy.Set("A", "x");
  copy = self;
  EXPECT_STREQ(copy.Get("A"), "x");
  copy = config_;
  EXPECT_STREQ(copy.Get("A"), "");
  EXPECT_STREQ(config_.Get("ShortName"), "TFS");
  config_.Clear();
  EXPECT_STREQ(config_.tmpDir, "");
  EXPECT_EQ(config_.documentRoot, Root());
  const CTVLCClientConfig reserved;
  CTVLCClientConfig other(reserved);
  other = reserved;
}

TEST_F(Config, JunkLoadsWithoutHarm) {
  const char* words[] = {"[TavolisFileSystem]",
                         "[Environments]",
                         "DocumentRoot",
                         "TmpDir",
                         "$",
                         "%",
                         "/",
                         "=",
                         "\n",
                         "\n",
                         "A",
                         "B",
                         "_",
                         "\"",
                         "\xFF",
                         "ROOT/x",
                         "\r",
                         ";",
                         "$A",
                         "$B"};
  for (unsigned int seed = 1; seed <= 200; ++seed) {
    std::mt19937 random(seed);
    string ini = seed % 2 == 0 ? string(kVariables) : string(kMain);
    for (int i = 0; i < 400; ++i) ini += words[random() % std::size(words)];
    folder_.Write("x.ini", ini);
    const int code = config_.Read(folder_.Logical("x.ini").c_str());
    EXPECT_TRUE(code == 0 || code == 3 || code == 5) << seed;
    for (int i = 0; i < config_.entryCount; ++i) EXPECT_LT(string(config_.entries[i].value).size(), 32768U);
  }
}

TEST_F(Config, OfTenMegabytesLoads) {
  string ini = string(kMain) + "DocumentRoot=ROOT\n" + kVariables;
  for (int i = 0; ini.size() < 10'000'000; ++i)
    ini += Numbered("variable", i) + "=$variable0 and some text\n";
  ini += ComputerSection() + "variable0=first\n";
  ASSERT_EQ(Load(ini), 0);
  EXPECT_STREQ(config_.Get("variable1"), "first and some text");
}

}  // namespace
