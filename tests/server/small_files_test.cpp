#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <vector>

#include "server/settings/access.h"
#include "server/wire/port_file.h"
#include "support/faults.h"
#include "support/temp_folder.h"

namespace {

using tvl::server::AllowedAddresses;
using tvl::server::NameList;
using tvl::server::PortFile;

// Runs `work` with a first, second, third ... failing call until none fails. `check` gets the folder and
// whether `work` has thrown.
template <typename Work, typename Check>
void FailEachCall(Work work, Check check) {
  for (int call = 1;; ++call) {
    ASSERT_LT(call, 100);
    const TempFolder folder(TempFolder::Memory());
    folder.Write("list", "ann\tread\n");
    folder.Write("networks", "10.0.0.1\n");
    bool failed = false;
    {
      const Faults faults(call, EIO);
      try {
        work(folder);
      } catch (const std::runtime_error&) {
        failed = true;
      }
    }
    if (Faults::Hit() == nullptr) {
      EXPECT_FALSE(failed);
      EXPECT_GT(call, 1);
      return;
    }
    SCOPED_TRACE(Faults::Hit());
    check(folder, failed);
  }
}

TEST(PortFiles, ContainTheWholeNumberOrDoNotExist) {
  FailEachCall(
      [](const TempFolder& folder) {
        const PortFile file(folder.Host("port"), 7440);
        EXPECT_EQ(folder.Read("port"), "7440\n");
      },
      [](const TempFolder& folder, bool failed) {
        EXPECT_FALSE(folder.Exists("port.new"));
        EXPECT_FALSE(failed && folder.Exists("port"));
      });
}

// A list that was read in part might admit more clients than the whole one.
TEST(Lists, AreRefusedIfTheyCannotBeRead) {
  FailEachCall(
      [](const TempFolder& folder) {
        EXPECT_TRUE(NameList(folder.Host("list")).RightsOf("ann").AdmitsAnything());
        AllowedAddresses().Add("@" + folder.Host("networks"));
      },
      [](const TempFolder&, bool failed) {
        const std::string hit = Faults::Hit();
        EXPECT_EQ(failed, hit == "open" || hit == "read") << hit;
      });
}

}  // namespace
