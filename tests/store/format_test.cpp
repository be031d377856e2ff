#include <cstdio>

#include "store/lock_row.h"
#include "store/marker_name.h"
#include "support/testing.h"

namespace {

string Filled(string text, std::size_t width) {
  text.resize(width, ' ');
  return text;
}

TEST(LockKey, HasEachPartAtItsOffset) {
  const string longName(40, 'n');
  const struct {
    const char* object;
    const char* computer;
    const char* address;
    const char* client_class;
    int instance;
    string key;
  } cases[] = {
      {"ORD1", "pc12", "7f000001", "mgrx", 2, Filled(" 1ORD1", 34) + Filled("pc12", 32) + "7f000001mgrx0002"},
      {"ORD1", nullptr, nullptr, nullptr, 0, Filled(" 1ORD1", 78) + "0000"},
      {nullptr, "pc12", "7f00001", "mgr", 12,
       Filled(" 1", 34) + Filled("pc12", 44) + "0012"},  // no address, no class
      {"A", "pc12", "7f0000012", "mgrxyz", 9999, Filled(" 1A", 34) + Filled("pc12", 40) + "mgrx9999"},
      {longName.c_str(), longName.c_str(), "7f000001", "mgrx", 12345,
       " 1" + longName.substr(0, 32) + longName.substr(0, 32) + "7f000001mgrx9999"},
  };
  for (const auto& test : cases) {
    char buffer[kLockKeySize + 1];
    std::fill_n(buffer, sizeof buffer, '?');
    EXPECT_EQ(
        BuildLockKey(buffer, test.object, test.computer, test.address, test.client_class, test.instance),
        buffer);
    EXPECT_EQ(string(buffer, kLockKeySize), test.key + string(kLockKeySize - kLockKeyLength, '\0'));
    EXPECT_EQ(buffer[kLockKeySize], '?');
  }
}

TEST(LockKey, KeyOfObjectSortsJustBeforeItsRows) {
  char keys[3][kLockKeySize];
  BuildLockKey(keys[0], "A", nullptr, nullptr, nullptr, 0);
  BuildLockKey(keys[1], "A", "!", "00000000", "    ", 1);
  BuildLockKey(keys[2], "A!", nullptr, nullptr, nullptr, 0);
  for (const int lower : {0, 1})
    EXPECT_LT(string(keys[lower], kLockKeyLength), string(keys[lower + 1], kLockKeyLength));
}

// Parses a name. Returns the result and the parts.
string Parse(const string& name) {
  char computer[kMarkerNameSize] = "-";
  char ip[kMarkerNameSize] = "-";
  char client_class[kMarkerNameSize] = "-";
  int instance = -1;
  int pid = -1;
  const int fits = ParseMarkerName(name.c_str(), computer, ip, &instance, &pid, client_class);
  EXPECT_EQ(ParseMarkerName(name.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr), fits);
  char parts[4 * kMarkerNameSize];
  std::snprintf(parts, sizeof parts, "%d %s %s %d %x %s", fits, computer, ip, instance,
                static_cast<unsigned int>(pid), client_class);
  return parts;
}

constexpr char kNone[] = "0 - - -1 ffffffff -";

TEST(MarkerName, IsParsedFromItsRightEnd) {
  const string longest(97, 'c');
  const std::pair<string, string> cases[] = {
      {"pc12-7f000001-002.1a2c.mgrx.tvp", "1 pc12 7f000001 2 1a2c mgrx"},
      {"pc12-7f000001-002.1a2c.mgrx.TvP", "1 pc12 7f000001 2 1a2c mgrx"},
      {"my-own-pc-7f000001-001.1.abxx.tvp", "1 my-own-pc 7f000001 1 1 abxx"},
      {"pc.site.it-7f000001-1234.fffffffe.abxx.tvp", "1 pc.site.it 7f000001 1234 fffffffe abxx"},
      {"pc-7f000001-001.1.v1.0.tvp", "1 pc 7f000001 1 1 v1.0"},  // a point in the class
      {"pc-7f000001-001.1..abx.tvp", "1 pc 7f000001 1 1 .abx"},
      {"--1.1.abxx.tvp", "1   1 1 abxx"},
      {"pc-7f000001-002.1a2c.mgr.tvp", kNone},  // a class of three characters, and of five
      {"pc-7f000001-002.1a2c.mgrxx.tvp", kNone},
      {"pc-7f000001-002.1a2c.mgrx", kNone},
      {"pc-7f000001-002.mgrx.tvp", kNone},  // no process
      {"7f000001-002.1a2c.mgrx.tvp", kNone},
      {".mgrx.tvp", kNone},
      {".tvp", kNone},
      {"", kNone},
      {longest + "-7f000001-002.1a2.mgrx.tvp", "1 " + longest + " 7f000001 2 1a2 mgrx"},
      {longest + "ccccc-7f000001-002.1a2.mgrx.tvp", kNone},  // above 127 characters
  };
  for (const auto& [name, parts] : cases) EXPECT_EQ(Parse(name), parts) << name;
}

TEST(MarkerName, NeverLeavesItsFolder) {
  const std::pair<tvl::InstanceName, const char*> cases[] = {
      {{"pc12", "7f000001", 2, 0x1a2c, "mgrx"}, "\\procs\\pc12-7f000001-002.1a2c.mgrx.tvp"},
      {{"my-pc", "c0a80001", 1000, 0xfffffffe, "v1.0"}, "\\procs\\my-pc-c0a80001-1000.fffffffe.v1.0.tvp"},
      {{"../pc", "7f000001", 2, 1, "mgrx"}, ""},
      {{"pc", "7f000001", 2, 1, "a\\bc"}, ""},
  };
  for (const auto& [name, expected] : cases) {
    const tvl::PathText path = tvl::MarkerPath("\\procs\\", name);
    EXPECT_EQ(path.Fits(), *expected != 0);
    EXPECT_STREQ(path.Text(), expected);
  }
}

}  // namespace
