#include "platform/ini_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace {

using std::string;
using namespace std::string_literals;

class IniFile : public testing::Test {
 protected:
  string Text(const string& bytes, const char* section = "s", const char* key = "k", DWORD room = 260) {
    folder_.Write("x.ini", bytes);
    string buffer(room, '#');
    const DWORD length =
        GetPrivateProfileStringA(section, key, "(none)", buffer.data(), room, Path().c_str());
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
    const std::vector<char> buffer = [&] {
      std::vector<char> block(room, '#');
      const DWORD length = GetPrivateProfileSectionA("s", block.data(), room, Path().c_str());
      EXPECT_LT(length, room);
      EXPECT_EQ(block[length], 0);
      return block;
    }();
    std::vector<string> lines;
    for (const char* at = buffer.data(); *at != 0; at += lines.back().size() + 1) lines.emplace_back(at);
    return lines;
  }

  string Path() const { return folder_.Logical("x.ini"); }

  TempFolder folder_;
};

TEST_F(IniFile, TextOfAKey) {
  const struct {
    string bytes;
    string expected;
  } cases[] = {
      {"[s]\nk=v\n", "v"},
      {"[s]\nk=v", "v"},
      {"[s]\r\nk=v\r\n", "v"},
      {"\xEF\xBB\xBF[s]\nk=v\n", "v"},
      {"\xEF\xBB\xBF", "(none)"},
      {"[S]\nK=v\n", "v"},
      {"  [ s ]  \n\t k \t=\t v \t\n", "v"},
      {"[s]\nk=\"v\"\n", "v"},
      {"[s]\nk=' v '\n", " v "},
      {"[s]\nk=\"\"v\"\"\n", "\"v\""},
      {"[s]\nk=\"v'\n", "\"v'"},
      {"[s]\nk=\"\n", "\""},
      {"[s]\nk=\"\"\n", ""},
      {"[s]\nk=\n", ""},
      {"[s]\nk=   \r\n", ""},
      {"[s]\nk\n", "(none)"},
      {"[s]\nk\nk=v\n", "v"},
      {"[s]\n;k=v\n", "(none)"},
      {"[s]\n  ; k=1\nk=2\n", "2"},
      {"[s]\nk=v;w\n", "v;w"},
      {"[s]\nk=a=b\n", "a=b"},
      {"[s]\nk=1\nk=2\n", "1"},
      {"[s]\na=1\n[s]\nk=2\n", "(none)"},
      {"[t]\nk=1\n[s]\nk=2\n", "2"},
      {"[s]\n[t]\nk=1\n", "(none)"},
      {"k=1\n[s]\n", "(none)"},
      {"[s\nk=v\n", "v"},
      {"[s]junk\nk=v\n", "v"},
      {"[ss]\nk=v\n", "(none)"},
      {"[s]\nkk=1\nk=2\n", "2"},
      {"[s]\nk=a\rb\n", "a\rb"},
      {"[s]\rk=v\r", "(none)"},
      {"[s]\nk=a\0b\n"s, "a"},
      {"[s]\n\0k=v\nk=w\n"s, "w"},
      {"", "(none)"},
      {"\n\n\n", "(none)"},
      {"[s]\nk=\xE0\xFF\n", "\xE0\xFF"},
      {"[s]\n; " + string(100000, 'c') + "\nk=v\n", "v"},
      {"[s]\nk=" + string(100000, 'v') + "\n", string(259, 'v')},
      {"[s]\n" + string(100000, 'k') + "=1\nk=2\n", "2"},
      {string(20000, '\n') + "[s]\nk=v", "v"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(Text(row.bytes), row.expected) << testing::PrintToString(row.bytes.substr(0, 60));
  }
}

TEST_F(IniFile, TextIsCutToAnyRoom) {
  for (DWORD room = 1; room <= 8; ++room) {
    EXPECT_EQ(Text("[s]\nk=abcde\n", "s", "k", room), string("abcde").substr(0, room - 1));
    EXPECT_EQ(Text("[s]\n", "s", "k", room), string("(none)").substr(0, room - 1));
  }
}

TEST_F(IniFile, WhatCannotBeReadReadsLikeAnEmptyFile) {
  folder_.Make("folder");
  for (const string& path :
       {folder_.Logical("missing"), folder_.Logical("folder"), string(), string(9000, 'x')}) {
    char text[16];
    EXPECT_EQ(GetPrivateProfileStringA("s", "k", "d", text, sizeof text, path.c_str()), 1U);
    EXPECT_STREQ(text, "d");
    EXPECT_EQ(GetPrivateProfileIntA("s", "k", 5, path.c_str()), 5);
    EXPECT_EQ(GetPrivateProfileSectionA("s", text, sizeof text, path.c_str()), 0U);
    EXPECT_EQ(text[0], 0);
  }
}

TEST_F(IniFile, NumberOfAKey) {
  const struct {
    const char* value;
    int expected;
  } cases[] = {
      {"0", 0},
      {"1", 1},
      {" 42 ", 42},
      {"-1", -1},
      {"+7", 7},
      {"\"3\"", 3},
      {"12abc", 12},
      {"yes", 0},
      {"", 0},
      {"-", 0},
      {"+-5", 0},
      {"0x10", 0},
      {"007", 7},
      {"1.9", 1},
      {"2147483647", 2147483647},
      {"2147483648", 2147483647},
      {"99999999999999999999", 2147483647},
      {"-99999999999999999999", -2147483647},
  };
  for (const auto& row : cases) EXPECT_EQ(Number("[s]\nk="s + row.value + "\n"), row.expected) << row.value;
  EXPECT_EQ(Number("[s]\nother=1\n"), 77);
}

TEST_F(IniFile, LinesOfASection) {
  using Lines = std::vector<string>;
  EXPECT_EQ(Section("[s]\n a = 1 \n;c\n\nb=\"2\"\nword\n=x\nc=\n[t]\nd=4\n"),
            (Lines{"a=1", "b=2", "word", "=x", "c="}));
  EXPECT_EQ(Section("[t]\na=1\n"), Lines{});
  EXPECT_EQ(Section("[s]\na=1\n", 1), Lines{});
}

// Half a value would be a wrong one, so a line comes whole or not at all.
TEST_F(IniFile, ASectionFillsItsRoomWithWholeLines) {
  for (int spare = -3; spare <= 3; ++spare) {
    string bytes = "[s]\n";
    constexpr int kLines = 1000;
    for (int i = 0; i < kLines; ++i) bytes += "k=" + string(20, 'v') + "\n";
    const DWORD needed = kLines * 23 + 1;
    const auto lines = Section(bytes, static_cast<DWORD>(static_cast<int>(needed) + spare));
    EXPECT_EQ(lines.size(), spare < 0 ? kLines - 1 : kLines);
    EXPECT_EQ(lines.back().size(), 22U);
  }
  EXPECT_EQ(Section("[s]\na=1\nb=" + string(100000, 'v') + "\nc=3\n"), std::vector<string>{"a=1"});
  EXPECT_EQ(Section("[s]\na=" + string(32764, 'v') + "\n").at(0).size(), 32766U);
  EXPECT_TRUE(Section("[s]\na=" + string(32765, 'v') + "\n").empty());
}

TEST_F(IniFile, JunkIsReadWithinBounds) {
  const string alphabet = "[]=;\"'\r\n\n\n \t\0sk\xEF\xBB\xBF%$1"s;
  for (unsigned int seed = 1; seed <= 60; ++seed) {
    std::mt19937 random(seed);
    string bytes(std::size_t{seed} * 997, 0);
    const bool any = seed % 2 == 0;
    std::generate(bytes.begin(), bytes.end(),
                  [&] { return any ? static_cast<char>(random()) : alphabet[random() % alphabet.size()]; });
    Text(bytes, "s", "k", 1 + seed % 40);
    Number(bytes);
    for (const string& line : Section(bytes, 1 + seed * 13)) EXPECT_EQ(line.find('\n'), string::npos);
  }
}

TEST_F(IniFile, AHugeFileIsReadToItsEnd) {
  string bytes = "[first]\n";
  while (bytes.size() < 10'000'000) bytes += "name_of_a_key=some value that nobody asks for\n";
  EXPECT_EQ(Text(bytes + "[s]\nk=last\n"), "last");
}

}  // namespace
