#include "cli/doctor/mount.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using namespace tvl::cli;
using std::string;

TEST(Mounts, TheLongestMountPointLeadsToAFolder) {
  const string text =
      "1 0 8:1 / / rw,relatime shared:1 - ext4 /dev/root rw\n"
      "2 1 0:5 / /mnt/store rw - nfs4 server:/x rw,hard\n"
      "3 1 0:5 /sub /mnt/store/nolock\\040part rw master:2 shared:7 - nfs4 server:/y rw,local_lock=all\n"
      "4 1 0:6 / /mnt/back\\134slash rw - cifs //s/x rw\n"
      "5 2 0:5 / /mnt/store ro - nfs server:/z rw,soft\n"
      "broken\n";
  const struct {
    const char* folder;
    const char* type;
    const char* options;
  } rows[] = {
      {"/", "ext4", "rw,relatime,rw"},
      {"/mnt/stores", "ext4", "rw,relatime,rw"},
      {"/mnt/store", "nfs", "ro,rw,soft"},
      {"/mnt/store/a", "nfs", "ro,rw,soft"},
      {"/mnt/store/nolock part/a", "nfs4", "rw,rw,local_lock=all"},
      {"/mnt/back\\slash", "cifs", "rw,rw"},
  };
  for (const auto& row : rows) {
    std::istringstream mounts(text);
    const auto mount = FindMount(mounts, row.folder);
    ASSERT_TRUE(mount) << row.folder;
    EXPECT_EQ(mount->type, row.type) << row.folder;
    EXPECT_EQ(mount->options, row.options) << row.folder;
  }
  std::istringstream none("broken\n");
  EXPECT_FALSE(FindMount(none, "/"));
}

TEST(Mounts, AreJudgedByTypeAndOptions) {
  const struct {
    const char* type;
    const char* options;
    Verdict verdict;
  } rows[] = {
      {"ext4", "rw,nolock", Verdict::kOk},
      {"nfs4", "rw,hard,local_lock=none,actimeo=3", Verdict::kOk},
      {"nfs", "rw,local_lock=flock", Verdict::kOk},
      {"nfs", "rw,local_lock=posix", Verdict::kBad},
      {"nfs", "rw,soft,local_lock=all", Verdict::kBad},
      {"nfs", "rw,nolock", Verdict::kBad},
      {"nfs4", "rw,soft", Verdict::kWarning},
      {"nfs4", "rw,actimeo=600", Verdict::kWarning},
      {"cifs", "rw,soft,cache=strict,serverino,actimeo=1", Verdict::kOk},
      {"cifs", "rw,NoBRL", Verdict::kBad},
      {"cifs", "rw,cache=loose", Verdict::kBad},
      {"cifs", "rw,cache=strict", Verdict::kWarning},
      {"smb3", "rw,nobrl", Verdict::kBad},
      {"fuse.sshfs", "rw", Verdict::kBad},
      {"fuse.glusterfs", "rw", Verdict::kOk},
      {"fuse.other", "rw", Verdict::kWarning},
      {"9p", "rw", Verdict::kWarning},
  };
  for (const auto& row : rows) {
    const Finding finding = JudgeMount({"/mnt/nolock", row.type, row.options});
    EXPECT_EQ(finding.verdict, row.verdict) << row.type << " " << row.options;
    EXPECT_EQ(finding.remedy.empty(), row.verdict == Verdict::kOk) << row.type << " " << row.options;
  }
}

}  // namespace
