#include <climits>
#include <new>
#include <thread>

#include <tvlclient/cstring.h>

#include "base/fixed_text.h"
#include "base/memory.h"
#include "base/numbers.h"
#include "base/pump.h"
#include "base/text.h"
#include "support/testing.h"

namespace {

TEST(Pump, RunsTheHookOncePerCallOnItsOwnThread) {
  int calls = 0;
  tvl::SetPumpHook([](void* count) { ++*static_cast<int*>(count); }, &calls);
  PumpMessages();
  std::thread(PumpMessages).join();
  EXPECT_EQ(calls, 1);
  tvl::SetPumpHook(nullptr, nullptr);
  PumpMessages();
  EXPECT_EQ(calls, 1);
}

TEST(Numbers, ReadsFieldOfDottedNumber) {
  const std::tuple<const char*, unsigned int, int> rows[] = {
      {"12", 6, 120000},    {"1.2.3", 6, 123000}, {"1234567", 6, 123456}, {"", 3, 0},
      {"5", 0, 0},          {"...9", 2, 90},      {"1a2", 3, 100},        {"-5", 2, 0},
      {" 5", 2, 0},         {"0001", 4, 1},       {"1", 31, INT_MAX},     {"2147483648", 10, INT_MAX},
      {"0", 4000000000U, 0}};
  for (const auto& [text, width, expected] : rows) EXPECT_EQ(NumericField(text, width), expected) << text;
  EXPECT_EQ(VersionTotal(-2, -14000), 2014000);
  EXPECT_EQ(VersionTotal(INT_MIN, INT_MIN), INT_MAX);
}

TEST(Numbers, ConvertsAddressToHexAndBack) {
  char hex[9];
  char address[16];
  for (const auto& [text, digits] : {std::pair{"127.0.0.1", "7f000001"}, {"255.255.255.255", "ffffffff"}}) {
    EXPECT_EQ(IpToHex(text, hex), 1);
    EXPECT_STREQ(hex, digits);
    EXPECT_EQ(HexToIp(address, hex), 1);
    EXPECT_STREQ(address, text);
  }
  for (const char* text : {"1.2.3", "1.2.3.4.5", "", "a.b.c.d", "1.2.3.256", "1.2.3.-4", "99999999999.2.3.4",
                           "1.2.3.4x", "1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1"}) {
    EXPECT_EQ(IpToHex(text, hex), 0) << text;
    EXPECT_STREQ(hex, "00000000") << text;
  }
  char same[16] = "FFffFFff";
  HexToIp(same, same);
  EXPECT_STREQ(same, "255.255.255.255");
  HexToIp(same, "zz");
  EXPECT_STREQ(same, "0.0.0.0");
}

TEST(Memory, ArraysKeepElementsAndZeroNewOnes) {
  int* grown = nullptr;
  for (int count = 0; count < 41; ++count) {
    grown = static_cast<int*>(GrowArray(grown, count, sizeof *grown, 4));
    ASSERT_EQ(std::exchange(grown[count], count + 1), 0) << count;
  }
  for (int i = 0; i < 41; ++i) EXPECT_EQ(grown[i], i + 1);
  EXPECT_EQ(grown[43], 0);
  EXPECT_EQ(SafeFree(grown), nullptr);

  auto* sized = static_cast<short*>(ResizeArray(nullptr, 0, 3, 2));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(std::exchange(sized[i], static_cast<short>(i + 1)), 0);
  sized = static_cast<short*>(ResizeArray(sized, 3, 5, 2));
  EXPECT_EQ(std::memcmp(sized, "\1\0\2\0\3\0\0\0\0", 10), 0);
  sized = static_cast<short*>(ResizeArray(sized, 5, 1, 2));
  EXPECT_EQ(std::memcmp(sized, "\1\0\0\0\0\0\0\0\0", 10), 0)
      << "removed elements are zeroed and their memory is kept";
  EXPECT_THROW(static_cast<void>(ResizeArray(sized, 1, -1, 8)), std::bad_alloc);
  SafeFree(sized);
  SafeFree(ResizeArray(nullptr, 0, 0, 8));
}

TEST(Memory, TextsAreCopied) {
  char* text = StrReplace(StrDup(nullptr), "abc");
  text = StrReplace(text, text + 1);  // from itself
  EXPECT_STREQ(text, "bc");
  text = StrReplace(text, nullptr);
  EXPECT_STREQ(text, "");
  SafeFree(text);
}

TEST(Texts, TrimRightStopsAtTheFirstCharacter) {
  const std::pair<const char*, const char*> rows[] = {{"", ""},          {"    ", " "}, {"\n\r\t ", "\n"},
                                                      {"a \t\r\n", "a"}, {" a", " a"},  {"a\v ", "a\v"}};
  for (const auto& [given, expected] : rows) {
    string text = given;
    TrimRight(text.data());
    EXPECT_STREQ(text.c_str(), expected);
  }
}

TEST(Texts, CompareWithoutCaseOrdersBytes) {
  EXPECT_EQ(tvl::CompareNoCase("AbZ", "aBz"), 0);
  EXPECT_LT(tvl::CompareNoCase("a", "ab"), 0);
  EXPECT_GT(tvl::CompareNoCase("\xE0", "z"), 0);
  EXPECT_NE(tvl::CompareNoCase("\xC0", "\xE0"), 0) << "no locale";
  EXPECT_GT(tvl::CompareNoCase("A", "_"), 0) << "letters count as lower case";
}

TEST(FixedText, NeverWritesBeyondItsEnd) {
  char field[4] = "###";
  tvl::CopyCut(field, "abcdef");
  EXPECT_STREQ(field, "abc");
  EXPECT_TRUE(tvl::CopyPath(field, "xyz"));
  EXPECT_FALSE(tvl::CopyPath(field, "wxyz"));
  EXPECT_STREQ(field, "");
  tvl::FixedText<4> text;
  EXPECT_TRUE(text.Append("ab").Append("").Append("c").Fits());
  EXPECT_FALSE(text.Append("d").Append("").Fits()) << "what did not fit once never fits again";
  EXPECT_STREQ(text.Text(), "abc");
}

TEST(GrowingText, AppendsFormatsAndTrims) {
  CString text = "a";
  EXPECT_EQ((Codes{text.Append("b"), text.AppendChar('|'), text.Append(nullptr), text.Append(text)}),
            (Codes{1, 1, 1, 1}));
  EXPECT_STREQ(text, "ab|ab|");
  EXPECT_EQ(text.Format("%s<%d>%s", text.GetString(), -1, "z \r\n"), 1) << "from itself";
  EXPECT_STREQ(text.TrimRight(), "ab|ab|<-1>z");
  EXPECT_STREQ(text.TrimRight('z').TrimRight('-'), "ab|ab|<-1>");
  CString copy = text;
  const CString moved = std::move(copy);
  copy = static_cast<const char*>(nullptr);
  text.Empty();
  EXPECT_EQ((Codes{copy.IsEmpty(), text.IsEmpty()}), (Codes{1, 1}));
  EXPECT_STREQ(CString("   ").TrimRight(), "");
  EXPECT_STREQ(moved, "ab|ab|<-1>");
  EXPECT_EQ(text.Format("%s", string(100000, 'x').c_str()), 1);
  EXPECT_EQ(text.GetLength(), 100000);
}

}  // namespace
