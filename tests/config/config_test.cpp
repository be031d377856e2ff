#include "config/config.h"

#include <cctype>

#include "platform/names.h"
#include "support/faults.h"
#include "support/testing.h"

namespace {

string Numbered(string name, int number) {
  return name.append(std::to_string(number));
}

class Config : public testing::Test {
 protected:
  // ROOT in the text is replaced by the path of a folder "root" to be created.
  int Load(const string& ini) {
    WriteIni(ini);
    return config_.Load(folder_.Logical("x.ini").c_str());
  }

  void WriteIni(string ini) {
    for (std::size_t at = ini.find("ROOT"); at != string::npos; at = ini.find("ROOT", at))
      ini.replace(at, 4, Root());
    folder_.Write("x.ini", ini);
  }

  string Root(const string& below = "") const { return folder_.Host("root") + below; }

  TempFolder folder_;
  CConfig config_;
};

const string kVariables = "[Environments]\n";
const string kMain = "[TavolisFileSystem]\n";
const string kStore = kMain + "DocumentRoot=ROOT\n";

TEST_F(Config, DefaultsDescribeAStore) {
  EXPECT_EQ(config_.status, 2);
  EXPECT_EQ(config_.Find("x"), nullptr);
  EXPECT_STREQ(config_.Get("x"), "");
  ASSERT_EQ(Load(kStore), 0);
  EXPECT_EQ((Codes{config_.status, config_.zipOnTransfert, config_.fileCompare}), (Codes{0, 1, 1}));
  EXPECT_EQ(config_.documentRoot, Root());
  EXPECT_EQ(config_.tmpDir, Root("\\tmp\\"));
  EXPECT_EQ(config_.locksDir, Root("\\tmp\\locks\\"));
  EXPECT_EQ(config_.procsDir, Root("\\tmp\\procs\\"));
  EXPECT_STREQ(config_.Get("shortname"), "TFS");
  EXPECT_STREQ(config_.Get("LongName"), "Tavolis File System");
  EXPECT_EQ(folder_.Tree("root"), (std::vector<string>{"tmp", "tmp/locks", "tmp/procs"}));
}

TEST_F(Config, EachFailureReturnsItsCode) {
  folder_.Write("file", "");
  const string file = folder_.Host("file");
  // The code, the remaining rows, and `tmpDir`.
  const std::tuple<string, int, int, string> rows[] = {
      {"", 3, 0, ""},
      {"DocumentRoot=ROOT\n", 3, 0, ""},
      {kMain + "DocumentRoot=\n", 3, 0, ""},
      {kVariables + "A=$B\nZ=1\n", 3, 2, ""},
      {kVariables + "DocumentRoot=\nTmpDir=ROOT\n", 4, 2, ""},
      {kMain + "DocumentRoot=ROOT/no/parent\n", 4, 2, ""},
      {kMain + "DocumentRoot=" + file + "\n", 4, 2, ""},
      {kMain + "TmpDir=ROOT\n" + kVariables + "DocumentRoot=ROOT\n", 5, 1, ""},
      {kStore + "TmpDir=ROOT/no/parent\n", 6, 2, Root("/no/parent")},
      {kStore + "TmpDir=\n", 6, 2, ""},
      {kVariables + "DocumentRoot=ROOT\nTmpDir=" + file + "\n", 6, 2, file},
  };
  for (const auto& [ini, code, entries, tmp_dir] : rows) {
    ASSERT_EQ(Load(ini), code) << ini;
    EXPECT_EQ(config_.status, code);
    EXPECT_EQ(config_.entryCount, entries) << ini;
    EXPECT_EQ(config_.tmpDir, tmp_dir) << ini;
    EXPECT_EQ(config_.sorted, code > 3 && entries > 1);
  }
  ASSERT_EQ(Load(kVariables + "A=$B\nB=1\n"), 3);
  EXPECT_STREQ(config_.Get("A"), "$B") << "not expanded on the way to code 3";
  ASSERT_EQ(Load(kStore), 0) << "a failed load can be followed by a good one";
}

TEST_F(Config, SettingsAreReadFromTheirSectionOnly) {
  const std::tuple<string, int, int> rows[] = {
      {"FileCompare=DuMb\nZipOnTransfert=5\n", 0, 5},
      {"FileCompare=TIME\nZipOnTransfert=-1\n", 2, -1},
      {"FileCompare=timer\n", 1, 1},
      {"FileCompare=\nZipOnTransfert=no\n", 1, 0},
      {kVariables + "FileCompare=time\nZipOnTransfert=0\nDocumentRoot=ROOT\nTmpDir=ROOT\n", 1, 1},
  };
  for (const auto& [keys, compare, zip] : rows) {
    ASSERT_EQ(Load(kStore + keys), 0) << keys;
    EXPECT_EQ(config_.fileCompare, compare) << keys;
    EXPECT_EQ(config_.zipOnTransfert, zip) << keys;
    EXPECT_EQ(config_.safe_on_transfert, 0) << keys;
  }
  for (const int level : {-1, 1, 2, 3}) {
    ASSERT_EQ(Load(kStore + "SafeOnTransfert=" + std::to_string(level) + "\n"), 0);
    EXPECT_EQ(config_.safe_on_transfert, std::clamp(level, 0, 2));
  }
}

// Each finding is "problem key text".
TEST_F(Config, CheckReportsWhatHasNoEffect) {
  const std::pair<const char*, std::vector<string>> kCases[] = {
      {"[TavolisFileSystem]\nFileCompare=Hash\nZipOnTransfert=1\nShortName=$X\nDocumentRoot=ROOT\n", {}},
      {"[TavolisFileSystem]\nDocumentRoot=ROOT\nFileCompere=time\nFileCompare=times\nSafeOnTransfert=3\n"
       "ZipOnTransfert=yes\n",
       {"1 FileCompere time", "2 FileCompare times", "2 SafeOnTransfert 3", "2 ZipOnTransfert yes"}},
      {"[Environments]\nDocumentRoot=ROOT\nTmpDir=$DocumentRoot/tmp\nA=$B%$C\nB=x$A\nC=$Nothing$\n",
       {"4 B A", "3 C Nothing", "3 C "}},
  };
  for (const auto& [ini, expected] : kCases) {
    SCOPED_TRACE(ini);
    WriteIni(ini);
    std::vector<string> found;
    config_.Check(folder_.Logical("x.ini").c_str(), [&](int problem, const char* key, const char* text) {
      found.push_back(std::to_string(problem) + " " + key + " " + text);
    });
    EXPECT_EQ(found, expected);
  }
  EXPECT_FALSE(fs::exists(folder_.Host("root")));
}

// One failed call must not lead to another store or another policy.
TEST_F(Config, FailedReadLoadsNothing) {
  const string ini = kMain + "FileCompare=time\nZipOnTransfert=5\n;" + string(40000, 'c') +
                     "\n[Environments]\nDocumentRoot=ROOT\nTmpDir=ROOT/t\n" + kMain + "DocumentRoot=/none\n";
  ASSERT_EQ(Load(ini), 0);
  for (int call = 1; call < 40; ++call) {
    const Faults faults(call, EIO);
    const int code = config_.Load(folder_.Logical("x.ini").c_str());
    const string hit = Faults::Hit() == nullptr ? "" : Faults::Hit();
    EXPECT_EQ(code == 3, hit == "statx" || hit == "open" || hit == "fstat" || hit == "read") << call << hit;
    if (code == 3) continue;
    EXPECT_EQ(config_.documentRoot, Root());
    EXPECT_EQ((Codes{config_.fileCompare, config_.zipOnTransfert}), (Codes{2, 5}));
  }
}

#ifndef _WIN32  // where access is not decided by modes
TEST_F(Config, NewFoldersGetPermissionsOfParent) {
  const mode_t before = umask(077);
  for (const mode_t mode : {02770U, 01777U, 0755U, 0700U}) {
    fs::remove_all(Root());
    fs::create_directory(Root());
    chmod(Root().c_str(), mode);
    EXPECT_EQ(Load(kStore), 0);
    for (const char* name : {"/tmp", "/tmp/locks", "/tmp/procs"}) {
      EXPECT_EQ(folder_.Status("root" + string(name)).st_mode & 07777U, mode & 02777U) << name;
    }
  }
  umask(before);
}
#endif

TEST_F(Config, SectionOfComputerOverridesVariables) {
  char computer[16];
  DWORD size = sizeof computer;
  ASSERT_EQ(GetComputerNameA(computer, &size), 1);
  std::transform(computer, computer + size, computer, [](unsigned char c) { return std::tolower(c); });
  ASSERT_EQ(Load(kVariables + "Zone=1\nBASE=ROOT\nDocumentRoot=$Base\nTmpDir=$Base/t\n[" + computer +
                 "]\nzone=2\nextra=$Zone\n"),
            0);
  EXPECT_STREQ(config_.Get("ZONE"), "2");
  EXPECT_STREQ(config_.Find("zone")->name, "Zone");
  EXPECT_STREQ(config_.Get("Extra"), "2");
  EXPECT_EQ(config_.entryCount, 7);
}

TEST_F(Config, StoreNamesAreNotVariables) {
  const string root = kVariables + "DocumentRoot=ROOT\nTmpDir=ROOT\n";
  ASSERT_EQ(Load(root + "ShortName=mine\nV=$ShortName\n" + kMain + "LongName=$X/y\n"), 0);
  EXPECT_STREQ(config_.Get("ShortName"), "TFS");
  EXPECT_STREQ(config_.Get("V"), "mine");
  EXPECT_STREQ(config_.Get("LongName"), "$X/y");
  EXPECT_EQ(config_.sorted, 0) << "LongName was added after the sorted rows";
  ASSERT_EQ(Load(root + "LongName=a\nShortName=b\n"), 0);
  EXPECT_EQ(config_.sorted, 1);
}

// Fields of 260 bytes: a path that does not fit is not a folder, and no byte is written beyond a field.
TEST_F(Config, PathsMayFillTheirFields) {
  ASSERT_EQ(Load(kStore), 0);
  for (const std::size_t length : {251U, 252U, 253U, 254U, 258U, 259U, 260U, 261U, 30000U}) {
    string path = Root("/");
    path.resize(length, 't');
    // "\locks\" needs 7 more characters.
    EXPECT_EQ(Load(kVariables + "DocumentRoot=ROOT\nTmpDir=" + path), length <= 252 ? 0 : 6) << length;
    EXPECT_EQ(Load(kVariables + "TmpDir=ROOT\nDocumentRoot=" + path),
              length <= 259 && length - Root().size() <= 256 ? 0 : 4)
        << length;
    EXPECT_EQ(config_.Load(path.c_str()), 3);
    EXPECT_EQ(config_.iniFile, length < 260 ? path : "");
  }
}

TEST_F(Config, FindsVariablesSortedOrNot) {
  for (int i = 999; i >= 0; --i) config_.Set(Numbered("Name", i).c_str(), std::to_string(i).c_str());
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(config_.Get(Numbered("nAME", i).c_str()), std::to_string(i));
  EXPECT_EQ(config_.Set("NAME5", "new")->expanded, 0);
  EXPECT_EQ(config_.entryCount, 1000);
  string ini = kStore + kVariables;
  for (int i = 0; i < 1000; ++i) ini += Numbered("V", i * 7919 % 1000) + "=x\n";
  ASSERT_EQ(Load(ini), 0);
  for (int i = 0; i < 1000; ++i) EXPECT_NE(config_.Find(Numbered("v", i).c_str()), nullptr);
  EXPECT_EQ(config_.Find("v1000"), nullptr);
}

TEST_F(Config, CopyHasFoldersAndSettingsButNoRows) {
  ASSERT_EQ(Load(kStore + "FileCompare=time\n"), 0);
  CConfig copy(config_);
  const CConfig& self = copy;
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
}

}  // namespace
