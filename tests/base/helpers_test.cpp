#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include <tvlclient/cstring.h>

#include "base/fixed_text.h"
#include "base/memory.h"
#include "base/numbers.h"
#include "base/text.h"

namespace {

using std::string;

TEST(Numbers, FieldOfADottedNumber) {
  const struct {
    const char* text;
    unsigned int width;
    int expected;
  } cases[] = {
      {"12", 6, 120000},
      {"1.2.3", 6, 123000},
      {"1234567", 6, 123456},
      {"7", 2, 70},
      {"", 3, 0},
      {"5", 0, 0},
      {"...9", 2, 90},
      {"1a2", 3, 100},
      {"-5", 2, 0},
      {" 5", 2, 0},
      {"0001", 4, 1},
      {"1..2", 2, 12},
      {"2147483647", 10, INT_MAX},
      {"2147483648", 10, INT_MAX},
      {"1", 31, INT_MAX},
      {"0", 4000000000U, 0},
      {"99999999999999999999999999999999999", 99, INT_MAX},
  };
  for (const auto& row : cases) EXPECT_EQ(NumericField(row.text, row.width), row.expected) << row.text;
}

TEST(Numbers, VersionTotal) {
  EXPECT_EQ(VersionTotal(2, 14000), 2014000);
  EXPECT_EQ(VersionTotal(-2, -14000), 2014000);
  EXPECT_EQ(VersionTotal(0, 0), 0);
  EXPECT_EQ(VersionTotal(INT_MIN, INT_MIN), INT_MAX);
}

TEST(Numbers, AddressToHexAndBack) {
  const struct {
    const char* text;
    const char* hex;  // null: refused
  } cases[] = {
      {"127.0.0.1", "7f000001"}, {"255.255.255.255", "ffffffff"},
      {"0.0.0.0", "00000000"},   {"1.2.3", nullptr},
      {"1.2.3.4.5", nullptr},    {"", nullptr},
      {"a.b.c.d", nullptr},      {"1.2.3.256", nullptr},
      {"1.2.3.-4", nullptr},     {"99999999999.2.3.4", nullptr},
      {"1.2.3.4x", nullptr},     {"1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1", nullptr},
  };
  for (const auto& row : cases) {
    char output[9];
    std::memset(output, '#', sizeof output);
    EXPECT_EQ(IpToHex(row.text, output), row.hex != nullptr) << row.text;
    EXPECT_STREQ(output, row.hex == nullptr ? "00000000" : row.hex);
    char address[16];
    if (row.hex == nullptr) continue;
    EXPECT_EQ(HexToIp(address, output), 1);
    EXPECT_STREQ(address, row.text);
  }
  char same[16] = "FFffFFff";
  EXPECT_EQ(HexToIp(same, same), 1);
  EXPECT_STREQ(same, "255.255.255.255");
  char junk[16];
  HexToIp(junk, "zz");
  EXPECT_STREQ(junk, "0.0.0.0");
}

TEST(Memory, GrowArrayKeepsElementsAndZeroesNewOnes) {
  int* array = nullptr;
  for (int count = 0; count < 41; ++count) {
    array = static_cast<int*>(GrowArray(array, count, sizeof *array, 4));
    ASSERT_EQ(array[count], 0) << count;
    array[count] = count + 1;
  }
  for (int i = 0; i < 41; ++i) EXPECT_EQ(array[i], i + 1);
  EXPECT_EQ(array[43], 0);
  EXPECT_EQ(SafeFree(array), nullptr);
  EXPECT_EQ(SafeFree(nullptr), nullptr);
}

TEST(Memory, ResizeArrayIsExactAndShrinkingZeroes) {
  auto* array = static_cast<short*>(ResizeArray(nullptr, 0, 3, 2));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(std::exchange(array[i], static_cast<short>(i + 1)), 0);
  array = static_cast<short*>(ResizeArray(array, 3, 5, 2));
  const short grown[] = {1, 2, 3, 0, 0};
  EXPECT_EQ(std::memcmp(array, grown, sizeof grown), 0);
  short* const before = array;
  array = static_cast<short*>(ResizeArray(array, 5, 1, 2));
  EXPECT_EQ(array, before);
  const short shrunk[] = {1, 0, 0, 0, 0};
  EXPECT_EQ(std::memcmp(array, shrunk, sizeof shrunk), 0);
  EXPECT_THROW(static_cast<void>(ResizeArray(array, 1, -1, 8)), std::bad_alloc);
  EXPECT_THROW(static_cast<void>(ResizeArray(nullptr, 0, INT_MIN, 0)), std::bad_alloc);
  SafeFree(array);
  SafeFree(ResizeArray(nullptr, 0, 0, 8));
}

TEST(Memory, TextsAreCopied) {
  char* text = StrDup(nullptr);
  EXPECT_STREQ(text, "");
  text = StrReplace(text, "abc");
  text = StrReplace(text, text + 1);  // from itself
  EXPECT_STREQ(text, "bc");
  text = StrReplace(text, nullptr);
  EXPECT_STREQ(text, "");
  SafeFree(text);
  SafeFree(StrReplace(nullptr, "x"));
}

TEST(Texts, TrimRightStopsAtTheFirstCharacter) {
  const struct {
    const char* text;
    const char* expected;
  } cases[] = {{"", ""},          {" ", " "},   {"    ", " "},  {"\n\r\t ", "\n"},
               {"a \t\r\n", "a"}, {" a", " a"}, {"a\v ", "a\v"}};
  for (const auto& row : cases) {
    char text[16] = {};
    std::memcpy(text, row.text, std::strlen(row.text));
    TrimRight(text);
    EXPECT_STREQ(text, row.expected);
  }
}

TEST(Texts, CompareWithoutCaseOrdersBytes) {
  EXPECT_EQ(tvl::CompareNoCase("AbZ", "aBz"), 0);
  EXPECT_LT(tvl::CompareNoCase("a", "ab"), 0);
  EXPECT_GT(tvl::CompareNoCase("\xE0", "z"), 0);
  EXPECT_NE(tvl::CompareNoCase("\xC0", "\xE0"), 0) << "no locale";
  EXPECT_GT(tvl::CompareNoCase("A", "_"), 0) << "letters count as lower case";
}

TEST(FixedText, NeverPassesItsEnd) {
  char field[4] = "###";
  tvl::CopyCut(field, "abcdef");
  EXPECT_STREQ(field, "abc");
  EXPECT_TRUE(tvl::CopyPath(field, "xyz"));
  EXPECT_FALSE(tvl::CopyPath(field, "wxyz"));
  EXPECT_STREQ(field, "");
  tvl::FixedText<4> text;
  EXPECT_TRUE(text.Append("ab").Append("").Append("c").Fits());
  EXPECT_FALSE(text.Append("d").Append("").Fits());
  EXPECT_STREQ(text.Text(), "abc");
  EXPECT_FALSE(text.Append("").Fits()) << "what did not fit once never fits again";
}

TEST(GrowingText, ChangesAsItsUsersExpect) {
  CString text = "a";
  EXPECT_EQ(text.Append("b"), 1);
  EXPECT_EQ(text.AppendChar('|'), 1);
  EXPECT_EQ(text.Append(nullptr), 1);
  EXPECT_STREQ(text, "ab|");
  EXPECT_EQ(text.Append(text), 1);
  EXPECT_STREQ(text, "ab|ab|");
  EXPECT_EQ(text.Format("%s<%d>%s", text.GetString(), -1, "z \r\n"), 1);
  EXPECT_STREQ(text.TrimRight(), "ab|ab|<-1>z");
  EXPECT_STREQ(text.TrimRight('z').TrimRight('-'), "ab|ab|<-1>");
  CString copy = text;
  CString& self = copy;
  copy = self;
  EXPECT_EQ(copy.GetLength(), 10);
  const CString moved = std::move(copy);
  copy = static_cast<const char*>(nullptr);
  EXPECT_EQ(copy.IsEmpty(), 1);
  text.Empty();
  EXPECT_EQ(text.IsEmpty(), 1);
  EXPECT_STREQ(CString("   ").TrimRight(), "");
  EXPECT_STREQ(moved, "ab|ab|<-1>");
  const string huge(100000, 'x');
  EXPECT_EQ(text.Format("%s", huge.c_str()), 1);
  EXPECT_EQ(text.GetLength(), 100000);
}

}  // namespace
