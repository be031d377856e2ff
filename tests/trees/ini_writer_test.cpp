#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "platform/ini_file.h"
#include "support/faults.h"
#include "support/temp_folder.h"

namespace {

namespace fs = std::filesystem;
using std::string;

class IniWriter : public testing::Test {
 protected:
  BOOL Put(const string& key, const string& value, const char* name = "f.ini") {
    return WritePrivateProfileStringA("Env", key.c_str(), value.c_str(), folder.Logical(name).c_str());
  }
  string Get(const string& key) {
    char text[64];
    GetPrivateProfileStringA("Env", key.c_str(), "default", text, sizeof text,
                             folder.Logical("f.ini").c_str());
    return text;
  }

  TempFolder folder;
};

TEST_F(IniWriter, ChangesOneValueAndKeepsEveryOtherByte) {
  const struct {
    const char* name;
    string before, after;  // with the value "v" for the key "K"
  } rows[] = {
      {"a file without the section", "a=1", "a=1\n[Env]\nK=v\n"},
      {"a section without the key", "[Env]\na=1\n\n[x]\n", "[Env]\na=1\nK=v\n\n[x]\n"},
      {"a key spelled otherwise", "[ENV]\nk=old", "[ENV]\nk=v"},
      {"blanks around", " [ Env ] \n  K \t=  old value \t\n", " [ Env ] \n  K \t=  v \t\n"},
      {"an empty value", "[Env]\nK=\n", "[Env]\nK=v\n"},
      {"quotes", "[Env]\nK = \"old\"\n", "[Env]\nK = v\n"},
      {"CRLF and no such key", "[Env]\r\nb=2", "[Env]\r\nb=2\r\nK=v\r\n"},
      {"a byte-order mark alone", "\xEF\xBB\xBF", "\xEF\xBB\xBF\n[Env]\nK=v\n"},
      {"comments", "; [Env]\n[Env]\n;K=c\nK=old ; text\n; end\n", "; [Env]\n[Env]\n;K=c\nK=v\n; end\n"},
      {"a comment last", "[Env]\na=1\n; end\n\n[x]", "[Env]\na=1\n; end\nK=v\n\n[x]"},
      {"the first section of two", "[Env]\na=1\n[x]\n[Env]\nK=old\n", "[Env]\na=1\nK=v\n[x]\n[Env]\nK=old\n"},
      {"the first key of two", "[Env]\nK=1\nK=2\n", "[Env]\nK=v\nK=2\n"},
      {"a bare word", "[Env]\nK\n", "[Env]\nK\nK=v\n"},
      {"zero bytes", string("[Env\0]x\nK=o\0ld\n", 15), string("[Env\0]x\nK=v\0ld\n", 15)},
      {"bytes above 0x7F", "[Env]\n\xE0=\xFF\nK=old\xE0", "[Env]\n\xE0=\xFF\nK=v"},
  };
  for (const auto& row : rows) {
    folder.Write("f.ini", row.before);
    EXPECT_EQ(Put("K", "v"), 1) << row.name;
    EXPECT_EQ(folder.Read("f.ini"), row.after) << row.name;
    EXPECT_EQ(Get("K"), "v") << row.name;
    EXPECT_EQ(Put("K", "v"), 1);
    EXPECT_EQ(folder.Read("f.ini"), row.after) << "again, " << row.name;
  }
}

TEST_F(IniWriter, RefusesWhatCouldNotBeReadBack) {
  folder.Write("f.ini", "[Env]\na=1\n");
  for (const char* key : {"", " k", "k ", "k=l", "[k", ";k", "k\nl"}) EXPECT_EQ(Put(key, "v"), 0) << key;
  for (const char* value : {"v\nw", "v\r"}) EXPECT_EQ(Put("k", value), 0) << value;
  EXPECT_EQ(folder.Read("f.ini"), "[Env]\na=1\n");
}

TEST_F(IniWriter, KeepsLinksModesAndOwners) {
  folder.Write("real/f.ini", "[Env]\nK=old\n");
  fs::permissions(folder.Host("real/f.ini"), fs::perms(0640));
  fs::create_symlink("real/f.ini", folder.Host("link.ini"));
  EXPECT_EQ(Put("K", "v", "link.ini"), 1);
  EXPECT_TRUE(fs::is_symlink(folder.Host("link.ini")));
  EXPECT_EQ(folder.Read("real/f.ini"), "[Env]\nK=v\n");
  EXPECT_EQ(fs::status(folder.Host("real/f.ini")).permissions(), fs::perms(0640));
  fs::create_symlink("real/made.ini", folder.Host("dangling.ini"));
  EXPECT_EQ(Put("K", "v", "dangling.ini"), 1);
  EXPECT_EQ(folder.Read("real/made.ini"), "[Env]\nK=v\n");
  EXPECT_TRUE(fs::is_symlink(folder.Host("dangling.ini")));
  // What a killed writer left beside it is no obstacle.
  folder.Write("real/f.ini.new", "half");
  EXPECT_EQ(Put("K", "w", "link.ini"), 1);
  EXPECT_EQ(folder.Tree("real"), (std::vector<string>{"f.ini", "made.ini"}));
}

// Whichever call fails: the file is the old one or the new one, and nothing lies beside it.
TEST_F(IniWriter, AFailureLeavesTheOldOrTheNewFile) {
  const string before = "[Env]\nK=old\nb=2\n";
  const string after = "[Env]\nK=v\nb=2\n";
  for (int call = 1;; ++call) {
    ASSERT_LT(call, 60);
    folder.Write("f.ini", before);
    BOOL done = 0;
    {
      const Faults faults(call, ENOSPC);
      done = Put("K", "v");
    }
    EXPECT_EQ(folder.Read("f.ini"), done == 1 ? after : before) << call;
    EXPECT_EQ(folder.Tree(), std::vector<string>{"f.ini"}) << call;
    if (Faults::Hit() == nullptr) break;
  }
}

}  // namespace
