#include "store/marker_name.h"

#include <cstdio>

#include "support/testing.h"

namespace {

// Parses a name. Returns the result and the parts.
string Parse(const string& name) {
  char computer[kMarkerNameSize] = "-";
  char ip[kMarkerNameSize] = "-";
  char clientClass[kMarkerNameSize] = "-";
  int instance = -1;
  int pid = -1;
  const int fits = ParseMarkerName(name.c_str(), computer, ip, &instance, &pid, clientClass);
  EXPECT_EQ(ParseMarkerName(name.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr), fits);
  char parts[4 * kMarkerNameSize];
  std::snprintf(parts, sizeof parts, "%d %s %s %d %x %s", fits, computer, ip, instance,
                static_cast<unsigned int>(pid), clientClass);
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
