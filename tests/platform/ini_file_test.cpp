#include "platform/ini_file.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/last_error.h"
#include "support/faults.h"
#include "support/helper_process.h"
#include "support/temp_folder.h"

namespace {

namespace fs = std::filesystem;
using std::string;
using namespace std::string_literals;

class IniFile : public testing::Test {
 protected:
  string Text(const string& bytes, DWORD room = 260) {
    folder_.Write("x.ini", bytes);
    string buffer(room, '#');
    const DWORD length = GetPrivateProfileStringA("s", "k", "(none)", buffer.data(), room, Path().c_str());
    EXPECT_LT(length, room);
    EXPECT_EQ(buffer[length], 0);
    return buffer.substr(0, length);
  }

  int Number(const string& bytes) {
    folder_.Write("x.ini", bytes);
    return GetPrivateProfileIntA("s", "k", 77, Path().c_str());
  }

  // The section's lines, read into a heap block of exactly `room` bytes.
  std::vector<string> Section(const string& bytes, DWORD room = 32768) {
    folder_.Write("x.ini", bytes);
    std::vector<char> block(room, '#');
    const DWORD length = GetPrivateProfileSectionA("s", block.data(), room, Path().c_str());
    EXPECT_LT(length, room);
    EXPECT_EQ(block[length], 0);
    std::vector<string> lines;
    for (const char* at = block.data(); *at != 0; at += lines.back().size() + 1) lines.emplace_back(at);
    return lines;
  }

  string Path() const { return folder_.Logical("x.ini"); }

  TempFolder folder_;
};

TEST_F(IniFile, TextOfAKey) {
  const struct {
    string expected;
    std::vector<string> files;
  } cases[] = {
      {"v",
       {"[s]\nk=v\n", "[s]\nk=v", "[s]\r\nk=v\r\n", "\xEF\xBB\xBF[s]\nk=v\n", "[S]\nK=v\n",
        "  [ s ]  \n\t k \t=\t v \t\n", "[s]\nk=\"v\"\n", "[s]\nk\nk=v\n", "[s]\n  ; k=1\nk=v\n",
        "[s]\nk=v\nk=2\n", "[t]\nk=1\n[s]\nk=v\n", "[s\nk=v\n", "[s]junk\nk=v\n", "[s]\nkk=1\nk=v\n",
        "[s]\nk=v\0b\n"s, "[s]\n\0k=o\nk=v\n"s, "[s]\n; " + string(100000, 'c') + "\nk=v\n",
        "[s]\n" + string(100000, 'k') + "=1\nk=v\n", string(20000, '\n') + "[s]\nk=v"}},
      {"(none)",
       {"", "\n\n\n", "\xEF\xBB\xBF", "[s]\nk\n", "[s]\n;k=v\n", "[s]\na=1\n[s]\nk=2\n", "[s]\n[t]\nk=1\n",
        "k=1\n[s]\n", "[ss]\nk=v\n", "[s]\rk=v\r"}},
      {"", {"[s]\nk=\n", "[s]\nk=   \r\n", "[s]\nk=\"\"\n"}},
      {" v ", {"[s]\nk=' v '\n"}},
      {"\"v\"", {"[s]\nk=\"\"v\"\"\n"}},
      {"\"v'", {"[s]\nk=\"v'\n"}},
      {"\"", {"[s]\nk=\"\n"}},
      {"v;w", {"[s]\nk=v;w\n"}},
      {"a=b", {"[s]\nk=a=b\n"}},
      {"a\rb\xE0\xFF", {"[s]\nk=a\rb\xE0\xFF\n"}},
      {string(259, 'v'), {"[s]\nk=" + string(100000, 'v') + "\n"}},
  };
  for (const auto& row : cases) {
    for (const string& bytes : row.files)
      EXPECT_EQ(Text(bytes), row.expected) << testing::PrintToString(bytes.substr(0, 60));
  }
  for (DWORD room = 1; room <= 8; ++room) {
    EXPECT_EQ(Text("[s]\nk=abcde\n", room), string("abcde").substr(0, room - 1));
    EXPECT_EQ(Text("[s]\n", room), string("(none)").substr(0, room - 1));
  }
}

TEST_F(IniFile, WhatCannotBeReadReadsLikeAnEmptyFile) {
  for (const string& path : {folder_.Logical("missing"), folder_.Logical(), string(), string(9000, 'x')}) {
    char text[16];
    EXPECT_EQ(GetPrivateProfileStringA("s", "k", "d", text, sizeof text, path.c_str()), 1U);
    EXPECT_STREQ(text, "d");
    EXPECT_EQ(GetPrivateProfileIntA("s", "k", 5, path.c_str()), 5);
    EXPECT_EQ(GetPrivateProfileSectionA("s", text, sizeof text, path.c_str()), 0U);
    EXPECT_EQ(text[0], 0);
  }
}

TEST_F(IniFile, NumberOfAKey) {
  const std::pair<string, int> cases[] = {
      {" 42 ", 42},
      {"-1", -1},
      {"\"3\"", 3},
      {"12abc", 12},
      {"", 0},
      {"+-5", 0},
      {"0x10", 0},
      {"007", 7},
      {"99999999999999999999", 2147483647},
      {"-99999999999999999999", -2147483647},
  };
  for (const auto& [value, expected] : cases) EXPECT_EQ(Number("[s]\nk=" + value), expected) << value;
  EXPECT_EQ(Number("[s]\nother=1\n"), 77);
}

// Half a value would be a wrong one, so a line comes whole or not at all.
TEST_F(IniFile, ASectionFillsItsRoomWithWholeLines) {
  using Lines = std::vector<string>;
  EXPECT_EQ(Section("[s]\n a = 1 \n;c\n\nb=\"2\"\nword\n=x\nc=\n[t]\nd=4\n"),
            (Lines{"a=1", "b=2", "word", "=x", "c="}));
  EXPECT_EQ(Section("[t]\na=1\n"), Lines{});
  EXPECT_EQ(Section("[s]\na=1\n", 1), Lines{});
  string bytes = "[s]\n";
  for (int i = 0; i < 1000; ++i) bytes += "k=" + string(20, 'v') + "\n";
  for (const DWORD room : {22999U, 23000U, 23001U, 23002U}) {
    const Lines lines = Section(bytes, room);
    EXPECT_EQ(lines.size(), room < 23001 ? 999U : 1000U);
    EXPECT_EQ(lines.back().size(), 22U);
  }
  EXPECT_EQ(Section("[s]\na=1\nb=" + string(100000, 'v') + "\nc=3\n"), Lines{"a=1"});
  EXPECT_EQ(Section("[s]\na=" + string(32764, 'v') + "\n").at(0).size(), 32766U);
  EXPECT_TRUE(Section("[s]\na=" + string(32765, 'v') + "\n").empty());
}

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
  // What a killed writer left is no obstacle, and a user's file is not touched.
  folder.Write("real/.f.ini.tvlpart", "half");
  folder.Write("real/f.ini.new", "mine");
  EXPECT_EQ(Put("K", "w", "link.ini"), 1);
  EXPECT_EQ(folder.Read("real/f.ini.new"), "mine");
  EXPECT_EQ(folder.Tree("real"),
            (std::vector<string>{"f.ini", "f.ini.lock", "f.ini.new", "made.ini", "made.ini.lock"}));
}

TEST_F(IniWriter, DeletesAKey) {
  const std::pair<string, string> rows[] = {
      {"a=1\n[Env]\nK=1\r\n;K=c\nb=2\n k = 3", "a=1\n[Env]\n;K=c\nb=2\n"},
      {"[Env]\nb=2\n[x]\nK=1\n", "[Env]\nb=2\n[x]\nK=1\n"},
      {"", ""},
  };
  for (const auto& [before, after] : rows) {
    folder.Write("f.ini", before);
    EXPECT_EQ(WritePrivateProfileStringA("Env", "K", nullptr, folder.Logical("f.ini").c_str()), 1);
    EXPECT_EQ(folder.Read("f.ini"), after);
  }
}

// Whichever call fails, with the lock file there or not: the file is the old one or the new one, nothing else
// is left, and no descriptor is.
TEST_F(IniWriter, AFailureLeavesTheOldOrTheNewFile) {
  const string before = "[Env]\nK=old\nb=2\n";
  const string after = "[Env]\nK=v\nb=2\n";
  for (const int error : {ENOSPC, EIO, ESTALE}) {
    for (int call = 1;; ++call) {
      ASSERT_LT(call, 80);
      folder.Write("f.ini", before);
      if (call % 2 == 0) fs::remove(folder.Host("f.ini.lock"));
      const long descriptors = OpenDescriptors();
      BOOL done = 0;
      {
        const Faults faults(call, error);
        done = Put("K", "v");
      }
      EXPECT_EQ(folder.Read("f.ini"), done == 1 ? after : before) << call;
      EXPECT_EQ(OpenDescriptors(), descriptors) << call;
      fs::remove(folder.Host("f.ini.lock"));
      EXPECT_EQ(folder.Tree(), std::vector<string>{"f.ini"}) << call;
      if (Faults::Hit() == nullptr) break;
    }
  }
}

// Another computer's replacement of the file is waited out.
TEST_F(IniWriter, ReadersTryAgain) {
  folder.Write("f.ini", "[Env]\nK=v\n");
  for (const int error : {ESTALE, EACCES}) {
    for (int call = 1; call <= 4; ++call) {
      const Faults faults(call, error);
      EXPECT_EQ(Get("K"), "v") << call;
    }
  }
}

// What SMB does where this computer has the target of a rename open: it refuses, and removes the target.
// Until the last close of it a look still finds it, but no open for writing.
int refusals = 0;
int last_refusal = EACCES;
std::string marked_for_deletion;
int OpenUnlessMarked(const char* path, int flags, mode_t mode) {
  if (path != marked_for_deletion || (flags & O_ACCMODE) == O_RDONLY) return open(path, flags, mode);
  errno = ENOENT;
  return -1;
}
int MarkingRename(const char*, const char* to) {
  marked_for_deletion = to;
  errno = EIO;
  return -1;
}
int RefusedRename(const char* from, const char* to) {
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    EXPECT_NE(fs::read_symlink(entry.path(), ignored), to) << "open during the rename";
  }
  unlink(to);
  if (refusals == 0) return rename(from, to);
  errno = --refusals == 0 ? last_refusal : EACCES;
  return -1;
}

TEST_F(IniWriter, ARefusedRenameIsTriedAgainAndItsPartKept) {
  const auto real = tvl::System().rename;
  tvl::System().rename = RefusedRename;
  folder.Write("f.ini", "[Env]\nK=old\n");
  refusals = 3;
  EXPECT_EQ(Put("K", "v"), 1);
  EXPECT_EQ(Get("K"), "v");
  refusals = 1;
  last_refusal = EIO;
  for (const int expected : {EIO, EEXIST}) {  // the second writer finds no file, but its part
    EXPECT_EQ(Put("K", "w"), 0);
    const tvl::LastError error = tvl::TakeLastError();
    EXPECT_EQ(error.code, expected);
    EXPECT_EQ(error.path, folder.Host(".f.ini.tvlpart"));
    EXPECT_EQ(folder.Read(".f.ini.tvlpart"), "[Env]\nK=w\n");
    EXPECT_FALSE(folder.Exists("f.ini"));
  }
  folder.Write("f.ini", "[Env]\nK=old\n");
  tvl::System().rename = MarkingRename;
  const auto real_open = std::exchange(tvl::System().open, OpenUnlessMarked);
  EXPECT_EQ(Put("K", "x"), 0);
  EXPECT_EQ(folder.Read(".f.ini.tvlpart"), "[Env]\nK=x\n");
  tvl::System().open = real_open;
  tvl::System().rename = real;
}

// Arguments: file, user, then the groups.
const Role kWriter("ini writer", [](const std::vector<string>& arguments) {
  std::vector<gid_t> groups;
  for (std::size_t i = 2; i < arguments.size(); ++i)
    groups.push_back(static_cast<gid_t>(std::stoul(arguments[i])));
  const auto user = static_cast<uid_t>(std::stoul(arguments[1]));
  if (setgroups(groups.size(), groups.data()) != 0 || setgid(groups[0]) != 0 || setuid(user) != 0) return 98;
  umask(077);
  return WritePrivateProfileStringA("Env", "K", "v", arguments[0].c_str()) == 1 ? 0 : tvl::LastErrorCode();
});

// An access list: the owner, a named user, the group, the mask and all others.
string AccessList(char owner, uid_t user, char named, char group, char others) {
  string list("\2\0\0\0", 4);
  const auto add = [&list](char tag, char permissions, uid_t id) {
    list.append({tag, 0, permissions, 0});
    for (int byte = 0; byte < 4; ++byte) list += static_cast<char>(id >> (8 * byte));
  };
  add(1, owner, static_cast<uid_t>(-1));
  add(2, named, user);
  add(4, group, static_cast<uid_t>(-1));
  add(16, 6, static_cast<uid_t>(-1));
  add(32, others, static_cast<uid_t>(-1));
  return list;
}

TEST_F(IniWriter, AnotherUsersWriteKeepsGroupAndListOrIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  constexpr uid_t kAlice = 60001;
  constexpr uid_t kBob = 60002;
  constexpr uid_t kCarol = 60003;
  const string store = "60010";
  const struct {
    const char* name;
    mode_t mode;
    string list;
    std::vector<string> groups;
    int expected;
  } rows[] = {
      {"a member of the group", 0660, "", {"60002", store}, 0},
      {"the owner", 0640, "", {"60001", store}, 0},
      {"a member, with a list", 0660, AccessList(6, kCarol, 6, 6, 0), {"60002", store}, 0},
      {"open to all, but of another group", 0666, "", {"60002"}, EPERM},
      {"a named user, who would lock the owner out",
       0660,
       AccessList(6, kBob, 6, 4, 0),
       {"60002", store},
       EPERM},
      {"no right to write", 0640, "", {"60002", store}, EACCES},
  };
  chmod(folder.Host().c_str(), 0777);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    folder.Write("f.ini", "[Env]\nK=old\n");
    const string path = folder.Host("f.ini");
    ASSERT_EQ(chown(path.c_str(), kAlice, 60010), 0);
    chmod(path.c_str(), row.mode);
    if (!row.list.empty() &&
        setxattr(path.c_str(), "system.posix_acl_access", row.list.data(), row.list.size(), 0) != 0)
      continue;  // a file system without lists
    std::vector<string> arguments = {"ini writer", folder.Logical("f.ini"),
                                     row.groups[0] == "60001" ? "60001" : "60002"};
    arguments.insert(arguments.end(), row.groups.begin(), row.groups.end());
    EXPECT_EQ(HelperProcess(arguments).Wait(), row.expected);
    EXPECT_EQ(folder.Read("f.ini"), row.expected == 0 ? "[Env]\nK=v\n" : "[Env]\nK=old\n");
    struct stat status = {};
    stat(path.c_str(), &status);
    EXPECT_EQ(status.st_gid, 60010U);
    EXPECT_EQ(status.st_mode & 07777U, row.mode);
    char list[256];
    const ssize_t size = getxattr(path.c_str(), "system.posix_acl_access", list, sizeof list);
    EXPECT_EQ(string(list, size < 0 ? 0 : static_cast<std::size_t>(size)), row.list);
    EXPECT_EQ(HelperProcess({"ini writer", folder.Logical("f.ini"), "60001", "60001", store}).Wait(), 0)
        << "the owner can write as before";
    fs::remove(path);
    fs::remove(path + ".lock");
  }
}

}  // namespace
