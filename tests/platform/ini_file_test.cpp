#include "platform/fixtures.h"
#include "platform/last_error.h"

namespace {

using namespace std::string_literals;

class IniFile : public testing::Test {
 protected:
  string Text(const string& bytes, DWORD size = 260) {
    folder_.Write("x.ini", bytes);
    string buffer(size, '#');
    const DWORD length = GetPrivateProfileStringA("s", "k", "(none)", buffer.data(), size, Path().c_str());
    EXPECT_LT(length, size);
    EXPECT_EQ(buffer[length], 0);
    return buffer.substr(0, length);
  }

  int Number(const string& bytes) {
    folder_.Write("x.ini", bytes);
    return GetPrivateProfileIntA("s", "k", 77, Path().c_str());
  }

  // Returns the lines of the section, read into a heap block of exactly `size` bytes.
  std::vector<string> Section(const string& bytes, DWORD size = 32768) {
    folder_.Write("x.ini", bytes);
    std::vector<char> block(size, '#');
    const DWORD length = GetPrivateProfileSectionA("s", block.data(), size, Path().c_str());
    EXPECT_LT(length, size);
    EXPECT_EQ(block[length], 0);
    std::vector<string> lines;
    for (const char* at = block.data(); *at != 0; at += lines.back().size() + 1) lines.emplace_back(at);
    return lines;
  }

  string Path() const { return folder_.Logical("x.ini"); }

  TempFolder folder_;
};

TEST_F(IniFile, ReadsTextOfKey) {
  const std::pair<string, std::vector<string>> cases[] = {
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
  for (const auto& [expected, files] : cases) {
    for (const string& bytes : files)
      EXPECT_EQ(Text(bytes), expected) << testing::PrintToString(bytes.substr(0, 60));
  }
  for (DWORD size = 1; size <= 8; ++size) {
    EXPECT_EQ(Text("[s]\nk=abcde\n", size), string("abcde").substr(0, size - 1));
    EXPECT_EQ(Text("[s]\n", size), string("(none)").substr(0, size - 1));
  }
}

TEST_F(IniFile, UnreadableFileReadsAsEmpty) {
  for (const string& path : {folder_.Logical("missing"), folder_.Logical(), string(), string(9000, 'x')}) {
    char text[16];
    EXPECT_EQ(GetPrivateProfileStringA("s", "k", "d", text, sizeof text, path.c_str()), 1U);
    EXPECT_STREQ(text, "d");
    EXPECT_EQ(GetPrivateProfileIntA("s", "k", 5, path.c_str()), 5);
    EXPECT_EQ(GetPrivateProfileSectionA("s", text, sizeof text, path.c_str()), 0U);
    EXPECT_EQ(text[0], 0);
  }
}

TEST_F(IniFile, ReadsNumberOfKey) {
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

// An incomplete value would be wrong, so a line is returned completely or not at all.
TEST_F(IniFile, FillsBufferWithCompleteLinesOfSection) {
  using Lines = std::vector<string>;
  EXPECT_EQ(Section("[s]\n a = 1 \n;c\n\nb=\"2\"\nword\n=x\nc=\n[t]\nd=4\n"),
            (Lines{"a=1", "b=2", "word", "=x", "c="}));
  EXPECT_EQ(Section("[t]\na=1\n"), Lines{});
  EXPECT_EQ(Section("[s]\na=1\n", 1), Lines{});
  string bytes = "[s]\n";
  for (int i = 0; i < 1000; ++i) bytes += "k=" + string(20, 'v') + "\n";
  for (const DWORD size : {22999U, 23000U, 23001U, 23002U}) {
    const Lines lines = Section(bytes, size);
    EXPECT_EQ(lines.size(), size < 23001 ? 999U : 1000U);
    EXPECT_EQ(lines.back().size(), 22U);
  }
  EXPECT_EQ(Section("[s]\na=1\nb=" + string(100000, 'v') + "\nc=3\n"), Lines{"a=1"});
  EXPECT_EQ(Section("[s]\na=" + string(32764, 'v') + "\n").at(0).size(), 32766U);
  EXPECT_TRUE(Section("[s]\na=" + string(32765, 'v') + "\n").empty());
}

TEST_F(IniWriter, ChangesOneValueAndKeepsAllOtherBytes) {
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

TEST_F(IniWriter, RefusesValuesThatCannotBeReadBack) {
  folder.Write("f.ini", "[Env]\na=1\n");
  for (const char* key : {"", " k", "k ", "k=l", "[k", ";k", "k\nl"}) EXPECT_EQ(Put(key, "v"), 0) << key;
  for (const char* value : {"v\nw", "v\r"}) EXPECT_EQ(Put("k", value), 0) << value;
  EXPECT_EQ(folder.Read("f.ini"), "[Env]\na=1\n");
}

TEST_F(IniWriter, DeletesKey) {
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

}  // namespace
