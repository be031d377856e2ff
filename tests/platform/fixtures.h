#ifndef TVL_TESTS_PLATFORM_FIXTURES_H
#define TVL_TESTS_PLATFORM_FIXTURES_H

#include "base/low_file.h"
#include "platform/files.h"
#include "platform/held_file.h"
#include "platform/ini_file.h"
#include "support/testing.h"
#include "transfer/zlib_file.h"

// Shared by the tests of the contract and those of its implementation.

// Bytes of which each part differs from all others.
inline string Pattern(std::size_t size) {
  string bytes(size, 0);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
  return bytes;
}

inline int Copy(const TempFolder& folder, const string& source, const string& target) {
  return CopyFileA(folder.Logical(source).c_str(), folder.Logical(target).c_str(), 0);
}

inline bool IsHeldBySomebody(const string& path) {
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
  void ExpectRefused(const string& name) {
    const string before = folder_.Read(name);
    const string path = folder_.Logical(name);
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

#endif
