#ifndef TVL_TESTS_SUPPORT_STORE_TEST_H
#define TVL_TESTS_SUPPORT_STORE_TEST_H

#include "support/store.h"
#include "support/testing.h"

// Tests with a store of their own, in memory.
class StoreTest : public testing::Test {
 protected:
  StoreTest() { store_.Make(); }

  TempFolder folder_{TempFolder::Memory()};
  Store store_{folder_.Host()};
};

#endif
