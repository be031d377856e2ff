#ifndef TVL_TESTS_PLATFORM_HELD_H
#define TVL_TESTS_PLATFORM_HELD_H

#include <gtest/gtest.h>

#include <string>

#include "base/low_file.h"
#include "platform/files.h"
#include "platform/held_file.h"
#include "support/temp_folder.h"
#include "transfer/zlib_file.h"

inline bool IsHeldBySomebody(const std::string& path) {
  const tvl::LowFile file(path.c_str(), kLowReadWrite);
  return tvl::IsHeld(file.Handle());
}

class HeldFile : public testing::Test {
 protected:
  HeldFile() {
    folder_.Write("source", "new bytes");
    folder_.Write("full", "old");
    folder_.Write("empty", "");
  }

  // What every operation that would change a file has to do with a held one.
  void ExpectRefused(const std::string& name) {
    const std::string before = folder_.Read(name);
    const std::string path = folder_.Logical(name);
    EXPECT_EQ(CopyFileA(folder_.Logical("source").c_str(), path.c_str(), 0), 0) << name;
    CCore packed;
    CZlib zlib;
    EXPECT_EQ(zlib.CompressFile(folder_.Logical("source").c_str(), packed), 1);
    EXPECT_EQ(zlib.DecompressFile(packed, path.c_str()), 0) << name;
    EXPECT_EQ(DeleteFileA(path.c_str()), 0) << name;
    EXPECT_EQ(MoveFileA(path.c_str(), folder_.Logical("moved").c_str()), 0) << name;
    EXPECT_EQ(MoveFileA(folder_.Logical("source").c_str(), path.c_str()), 0) << name;
    EXPECT_EQ(folder_.Read(name), before) << name;
    EXPECT_TRUE(folder_.Exists(name));
    // It can still be read and copied from.
    EXPECT_EQ(CopyFileA(path.c_str(), folder_.Logical("copy").c_str(), 0), 1) << name;
  }

  TempFolder folder_;
};

#endif
