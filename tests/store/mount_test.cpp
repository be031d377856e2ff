#include "store/check/mount.h"

#include <sstream>

#include "support/testing.h"

namespace {

using namespace tvl;

TEST(Mounts, LongestMountPointWins) {
  const string text =
      "1 0 8:1 / / rw,relatime shared:1 - ext4 /dev/root rw\n"
      "2 1 0:5 / /mnt/store rw - nfs4 server:/x rw,hard\n"
      "3 1 0:5 /sub /mnt/store/nolock\\040part rw master:2 shared:7 - nfs4 server:/y rw,local_lock=all\n"
      "4 1 0:6 / /mnt/back\\134slash rw - cifs //s/x rw\n"
      "5 2 0:5 / /mnt/store ro - nfs server:/z rw,soft\n"
      "broken\n";
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"/", "ext4", "rw,relatime,rw"},
      {"/mnt/stores", "ext4", "rw,relatime,rw"},
      {"/mnt/store", "nfs", "ro,rw,soft"},
      {"/mnt/store/a", "nfs", "ro,rw,soft"},
      {"/mnt/store/nolock part/a", "nfs4", "rw,rw,local_lock=all"},
      {"/mnt/back\\slash", "cifs", "rw,rw"},
  };
  for (const auto& [folder, type, options] : rows) {
    std::istringstream mounts(text);
    const auto mount = FindMount(mounts, folder);
    ASSERT_TRUE(mount) << folder;
    EXPECT_EQ(mount->type, type) << folder;
    EXPECT_EQ(mount->options, options) << folder;
  }
  std::istringstream none("broken\n");
  EXPECT_FALSE(FindMount(none, "/"));
}

TEST(Mounts, AreJudgedByTypeAndOptions) {
  const std::tuple<const char*, const char*, TVL_VERDICT> rows[] = {
      {"ext4", "rw,nolock", TVL_VERDICT_OK},
      {"nfs4", "rw,hard,local_lock=none,actimeo=3", TVL_VERDICT_OK},
      {"nfs", "rw,local_lock=flock", TVL_VERDICT_OK},
      {"nfs", "rw,local_lock=posix", TVL_VERDICT_BAD},
      {"nfs", "rw,soft,local_lock=all", TVL_VERDICT_BAD},
      {"nfs", "rw,nolock", TVL_VERDICT_BAD},
      {"nfs4", "rw,soft", TVL_VERDICT_WARNING},
      {"nfs4", "rw,actimeo=600", TVL_VERDICT_WARNING},
      {"cifs", "rw,soft,cache=strict,serverino,actimeo=1", TVL_VERDICT_OK},
      {"cifs", "rw,NoBRL", TVL_VERDICT_BAD},
      {"cifs", "rw,cache=loose", TVL_VERDICT_BAD},
      {"cifs", "rw,cache=strict", TVL_VERDICT_WARNING},
      {"smb3", "rw,nobrl", TVL_VERDICT_BAD},
      {"fuse.sshfs", "rw", TVL_VERDICT_BAD},
      {"fuse.glusterfs", "rw", TVL_VERDICT_OK},
      {"fuse.other", "rw", TVL_VERDICT_WARNING},
      {"9p", "rw", TVL_VERDICT_WARNING},
  };
  for (const auto& [type, options, verdict] : rows) {
    const Finding finding = JudgeMount({"/mnt/nolock", type, options});
    EXPECT_EQ(finding.verdict, verdict) << type << " " << options;
    EXPECT_EQ(finding.remedy.empty(), verdict == TVL_VERDICT_OK) << type << " " << options;
  }
}

}  // namespace
