#include "server/names.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "server/raw_client.h"
#include "server/server_process.h"

namespace {

using std::string;
using tvl::server::CleanName;

TEST(Names, AreFoldedOrRefused) {
  const string long_component(255, 'c');
  const struct {
    string name;
    string path;  // empty: refused
  } rows[] = {
      {"a.txt", "a.txt"},
      {"docs\\a.txt", "docs/a.txt"},
      {"docs//sub\\\\a.txt", "docs/sub/a.txt"},
      {"./docs/./a.txt", "docs/a.txt"},
      {"caf\xE9/\xFF", "caf\xE9/\xFF"},
      {"..a/a..", "..a/a.."},
      {"a:b", "a:b"},
      {long_component, long_component},
      {"", ""},
      {".", ""},
      {"./.", ""},
      {"docs/", ""},
      {"docs/.", ""},
      {"..", ""},
      {"../a", ""},
      {"docs\\..\\a", ""},
      {"docs/..", ""},
      {"/etc/passwd", ""},
      {"\\a", ""},
      {"c:\\a", ""},
      {"C:/a", ""},
      {"a\nb", ""},
      {"a\x7F", ""},
      {string("a\0b", 3), ""},
      {long_component + "c", ""},
      {"d/" + long_component + "/ef", ""},
      {".7.1.tvlpart", ""},
      {"docs/x.TVLPART", ""},
      {"x.tvlpart/a", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(CleanName(row.name).value_or(""), row.path) << testing::PrintToString(row.name);
  }
}

// A store with ways out of it, and into where clients have no business.
class NamesOnAServer : public testing::Test {
 protected:
  NamesOnAServer() {
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

  ServedStore store;
};

TEST_F(NamesOnAServer, LeaveTheRootInNoWay) {
  const ServerProcess server(store);
  const RawClient client = RawClient::Entered(server.Port());
  const std::vector<string> before = store.folder.Tree();
  const string config = store.Read("tvl.ini");
  const string refused[] = {"../secret",
                            "docs/../../secret",
                            "docs\\..\\..\\secret",
                            store.folder.Host("secret"),
                            "//secret",
                            "out",
                            "up/secret",
                            "docs/self/../../secret",
                            "absolute",
                            "absolute_inside",
                            "tmp/inner",
                            "tmp\\inner",
                            "TMP/../tmp/inner",
                            "to_tmp/inner",
                            "to_tmp/locks/dtlocks.dat",
                            "to_tmp/fresh/folder/a",
                            "to_inner",
                            "around",
                            "tmp/locks/dtlocks.dat",
                            "tvl.ini",
                            "./tvl.ini",
                            "TVL.INI",
                            "docs/../tvl.ini",
                            "to_config",
                            "loop",
                            "a\x01",
                            string(300, 'n'),
                            string(256, 'n'),
                            ".1.1.tvlpart",
                            ""};
  for (const string& name : refused) {
    SCOPED_TRACE(testing::PrintToString(name));
    EXPECT_EQ(client.Get(name).code, 20);
    EXPECT_EQ(client.Put(name, "overwritten"), 20);
  }
  EXPECT_EQ(client.Get("second_name").code, 20);
  EXPECT_EQ(store.folder.Read("secret"), "secret");
  EXPECT_EQ(store.Read("tvl.ini"), config);
  EXPECT_EQ(store.folder.Tree(), before);
}

TEST_F(NamesOnAServer, FollowLinksThatStayInside) {
  const ServerProcess server(store);
  const RawClient client = RawClient::Entered(server.Port());
  for (const char* name : {"alias", "docs/self/a.txt", "docs/self/self/a.txt"}) {
    EXPECT_EQ(client.Get(name).bytes, "inside") << name;
  }
  EXPECT_EQ(client.Put("alias", "changed"), 0);
  EXPECT_EQ(store.Read("docs/a.txt"), "changed");
  EXPECT_TRUE(std::filesystem::is_symlink(store.Path("alias")));
}

}  // namespace
