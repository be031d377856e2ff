#ifndef TVL_TESTS_E2E_TVL_RUNNER_H
#define TVL_TESTS_E2E_TVL_RUNNER_H

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/process.h"
#include "support/temp_folder.h"

// Everything below a folder: kind, mode, time of change, and contents or target, so that any change shows.
using Snapshot = std::map<std::string, std::string>;
Snapshot SnapshotOf(const std::string& folder);

// Contents of the files below a folder, and its folders, by name.
std::map<std::string, std::string> ContentsOf(const std::string& folder);

// A new store in "store", and a working directory "work" in which `tvl` runs.
class TvlTest : public testing::Test {
 protected:
  TvlTest();

  [[nodiscard]] ProcessStart Start(const std::vector<std::string>& arguments) const;
  [[nodiscard]] ProcessResult Tvl(const std::vector<std::string>& arguments) const;

  // Runs it, and fails the test unless it ends with `exit`.
  ProcessResult Expect(int exit, const std::vector<std::string>& arguments) const;

  // Writes the store's configuration anew, with these lines behind the document root.
  void Configure(const std::string& lines) const;

  TempFolder folder;
};

#endif
