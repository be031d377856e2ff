#include "store/lock_row.h"

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
    const char* clientClass;
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
    EXPECT_EQ(BuildLockKey(buffer, test.object, test.computer, test.address, test.clientClass, test.instance),
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

}  // namespace
