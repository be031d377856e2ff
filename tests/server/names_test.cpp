#include "server/files/names.h"

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <sstream>

#include "server/files/store_root.h"
#include "server/server_process.h"

namespace {

using std::string;
using tvl::server::CleanName;
using tvl::server::StoreRoot;

// Splits a text at blanks.
std::vector<string> Words(const string& text) {
  std::istringstream words(text);
  return {std::istream_iterator<string>(words), {}};
}

TEST(ServerNames, AreNormalizedOrRefused) {
  const string long_component(255, 'c');
  const std::pair<string, string> folded[] = {
      {"a.txt", "a.txt"},
      {"docs\\a.txt", "docs/a.txt"},
      {"docs//sub\\\\a.txt", "docs/sub/a.txt"},
      {"./docs/./a.txt", "docs/a.txt"},
      {"caf\xE9/\xFF", "caf\xE9/\xFF"},
      {"..a/a..", "..a/a.."},
      {"a:b", "a:b"},
      {long_component, long_component},
  };
  for (const auto& [name, path] : folded) EXPECT_EQ(CleanName(name), path);
  std::vector<string> refused = Words(". docs/ docs/. C:/a a\x7F docs/x.TVLPART x.tvlpart/a");
  refused.insert(refused.end(), {string("a\0b", 3), "d/" + long_component + "/ef"});
  for (const string& name : refused) EXPECT_EQ(CleanName(name), std::nullopt);
}

// A store with links that lead out of it and to files that clients must not access.
class ServerNameAccess : public testing::Test {
 protected:
  ServerNameAccess() {
    store.folder.Write("secret", "secret");
    store.Write("docs/a.txt", "inside");
    store.Write("tmp/inner", "not for clients");
    Link("../secret", "out");
    Link("..", "up");
    Link(store.folder.Host("secret"), "absolute");
    Link(store.Path("docs/a.txt"), "absolute_inside");
    Link("tmp", "to_tmp");
    Link("tmp/inner", "to_inner");
    Link("tvl.ini", "to_config");
    Link("docs/../tmp/inner", "around");
    Link("loop", "loop");
    Link("docs/a.txt", "alias");
    Link("../docs", "docs/self");
    std::filesystem::create_hard_link(store.Path("tvl.ini"), store.Path("second_name"));
  }

  void Link(const string& target, const string& name) const {
    ASSERT_EQ(symlink(target.c_str(), store.Path(name).c_str()), 0);
  }

  const ServedStore store;
  const ServerProcess server{store};
  const RawClient client = server.Enter();
};

TEST_F(ServerNameAccess, NeverLeaveTheRoot) {
  const std::vector<string> before = store.folder.Tree();
  const string config = store.Read("tvl.ini");
  std::vector<string> refused = Words(
      "../secret docs/../../secret docs\\..\\..\\secret //secret c:\\secret out up/secret "
      "docs/self/../../secret absolute absolute_inside tmp tmp/inner tmp\\inner TMP/../tmp/inner "
      "to_tmp/inner to_tmp/locks/dtlocks.dat to_tmp/fresh/folder/a to_inner around tmp/locks/dtlocks.dat "
      "tvl.ini ./tvl.ini TVL.INI tvl.ini.lock docs/../tvl.ini to_config second_name loop a\x01 .1.1.tvlpart");
  refused.insert(refused.end(), {"", store.folder.Host("secret"), string(300, 'n'), string(256, 'n')});
  for (const string& name : refused) {
    SCOPED_TRACE(testing::PrintToString(name));
    EXPECT_EQ(client.Get(name).code, 20);
    EXPECT_EQ(client.Put(name, "overwritten"), 20);
  }
  EXPECT_EQ(store.folder.Read("secret"), "secret");
  EXPECT_EQ(store.Read("tvl.ini"), config);
  EXPECT_EQ(store.folder.Tree(), before);
}

TEST_F(ServerNameAccess, FollowLinksThatStayInside) {
  for (const char* name : {"alias", "docs/self/a.txt", "docs/self/self/a.txt"}) {
    EXPECT_EQ(client.Get(name).bytes, "inside") << name;
  }
  EXPECT_EQ(client.Put("alias", "changed"), 0);
  EXPECT_EQ(store.Read("docs/a.txt"), "changed");
  EXPECT_TRUE(std::filesystem::is_symlink(store.Path("alias")));
}

// The file that a linked configuration leads to is protected.
TEST_F(ServerNameAccess, ProtectLinkedConfiguration) {
  Link("store/tvl.ini", "../link.ini");
  const StoreRoot root(store.store.root_host, {}, store.folder.Host("link.ini"));
  std::vector<string> made;
  for (const char* name : {"tvl.ini", "TVL.INI", "second_name", "to_config"}) {
    EXPECT_FALSE(root.Find(name).has_value()) << name;
    EXPECT_FALSE(root.FindOrMake(name, made).has_value()) << name;
  }
  EXPECT_TRUE(root.Find("docs/a.txt").has_value());
}

// Folders are replaced while the server runs.
TEST_F(ServerNameAccess, FollowReplacedFolders) {
  std::filesystem::rename(store.Path("tmp"), store.Path("old"));
  std::filesystem::create_directory(store.Path("tmp"));
  store.Write("tmp/inner", "not for clients either");
  for (const char* name : {"old/inner", "old/locks/dtlocks.dat", "tmp/inner", "to_inner", "tmp/fresh"}) {
    EXPECT_EQ(client.Get(name).code, 20) << name;
    EXPECT_EQ(client.Put(name, "overwritten"), 20) << name;
  }
  EXPECT_EQ(client.Get("docs/a.txt").bytes, "inside");
  std::filesystem::rename(store.Path(""), store.folder.Host("moved"));
  std::filesystem::create_directory(store.Path(""));
  EXPECT_EQ(client.Put("b.txt", "lost to those who go by the path"), 20);
  EXPECT_EQ(client.Get("docs/a.txt").code, 20);
  EXPECT_TRUE(server.WaitForLog("error: get \"docs/a.txt\" request=13 code=20 bytes=0"));
  EXPECT_TRUE(server.WaitForLog("the document root was moved or replaced"));
}

// Disables openat2 for this process. Returns false if this is not possible.
bool TakeOpenat2Away() {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter = {std::size(program), program};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

TEST_F(ServerNameAccess, FollowNoLinkWithoutKernelSupport) {
  constexpr int kNoFilter = 77;
  const auto count_wrong = [&] {
    if (!TakeOpenat2Away()) return kNoFilter;
    const StoreRoot root(store.store.root_host, {store.Path("tmp")}, store.Path("tvl.ini"));
    int wrong = root.Find("docs/a.txt") && root.Find("fresh") ? 0 : 1;
    for (const char* name :
         {"docs/self/a.txt", "up/secret", "out", "alias", "docs/../docs/a.txt", "tmp/inner", "tvl.ini"}) {
      if (root.Find(name)) ++wrong;
    }
    return wrong;
  };
  const pid_t child = fork();
  if (child == 0) _exit(count_wrong());
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == kNoFilter) GTEST_SKIP() << "no filter for system calls";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
