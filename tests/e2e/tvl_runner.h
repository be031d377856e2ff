#ifndef TVL_TESTS_E2E_TVL_RUNNER_H
#define TVL_TESTS_E2E_TVL_RUNNER_H

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/process.h"
#include "support/temp_folder.h"

using Words = std::vector<std::string>;
using Tree = std::map<std::string, std::string>;

// The files below a folder with their contents, through links; names of folders end in a slash.
Tree ContentsOf(const std::string& folder);

// With kinds, modes and times of change, so that any change shows.
Tree SnapshotOf(const std::string& folder);

bool AreJsonLines(const std::string& text);

// A new store in "store", and a working directory "work" in which `tvl` runs.
class TvlTest : public testing::Test {
 protected:
  // How `tvl` is to end, and what it says: on standard output where it succeeds, else on standard error.
  struct Row {
    int exit;
    Words arguments;
    Words told = {};
  };

  TvlTest();

  [[nodiscard]] ProcessStart Start(const Words& arguments) const;

  ProcessResult Expect(int exit, const Words& arguments, const Words& told = {}) const;
  void ExpectAll(const std::vector<Row>& rows) const;

  // With --json, what it says being on standard output in any case. The documents.
  std::string ExpectJson(int exit, Words arguments, const Words& told = {}) const;

  // Writes the store's configuration anew, with these lines behind the document root.
  void Configure(const std::string& lines) const;

  TempFolder folder;
};

#endif
