#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "server/files/made_folders.h"
#include "server/files/parts.h"
#include "server/files/put_file.h"
#include "server/files/store_root.h"
#include "support/faults.h"
#include "support/temp_folder.h"

namespace {

using tvl::server::PutFile;

int Put(const PutFile::Shared& shared, const std::string& name, const std::string& bytes) {
  PutFile file(shared, {}, false);
  std::int64_t time = 0;
  int code = file.Find(name);
  if (code == 0) code = file.Begin();
  if (code == 0) code = file.Write(bytes.data(), bytes.size());
  return code != 0 ? code : file.End(time);
}

// Whatever call fails, the store has the old tree or the new one: no part, no empty folder, no open
// descriptor.
TEST(ServerPut, AFailingCallLeavesTheOldOrTheNewTree) {
  using Tree = std::vector<std::string>;
  for (const bool exists : {true, false}) {
    for (const int error : {EIO, ENOSPC}) {
      int failures = 0;
      for (int call = 1;; ++call) {
        ASSERT_LT(call, 100);
        SCOPED_TRACE(call);
        const TempFolder folder(TempFolder::Memory());
        folder.Make("root");
        folder.Make("tmp");
        if (exists) folder.Write("root/a/b/f", "old");
        const tvl::server::StoreRoot root(folder.Host("root"), {}, folder.Host("tvl.ini"));
        tvl::server::Gauge parts_in_use;
        tvl::server::Parts parts(folder.Host("tmp"), parts_in_use);
        tvl::server::MadeFolders made_folders;
        const long descriptors = OpenDescriptors();
        int code = 0;
        {
          const Faults faults(call, error);
          code = Put({root, parts, made_folders}, "a/b/f", "new");
        }
        EXPECT_EQ(OpenDescriptors(), descriptors);
        EXPECT_EQ(folder.Read("root/a/b/f"), code == 0 ? "new" : exists ? "old" : "");
        EXPECT_EQ(folder.Tree("root"), code == 0 || exists ? (Tree{"a", "a/b", "a/b/f"}) : Tree{});
        EXPECT_EQ(parts_in_use.Value(), 0);
        if (Faults::Hit() == nullptr) break;
        failures += code == 0 ? 0 : 1;
      }
      EXPECT_GT(failures, 10);
    }
  }
}

}  // namespace
