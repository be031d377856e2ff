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

// Returns the files below a folder with their contents, following links. Names of folders end in a slash.
Tree ContentsOf(const std::string& folder);

// The same with kinds, modes and times of change, so that any change is detected.
Tree SnapshotOf(const std::string& folder);

bool AreJsonLines(const std::string& text);

// A new store in "store", and a working directory "work" in which `tvl` runs.
class TvlTest : public testing::Test {
 protected:
  // The expected exit code of `tvl` and parts of its output: on standard output if it succeeds, else on
  // standard error.
  struct Row {
    int exit;
    Words arguments;
    Words output = {};
  };

  TvlTest();

  [[nodiscard]] ProcessStart Start(const Words& arguments) const;

  ProcessResult Expect(int exit, const Words& arguments, const Words& output = {}) const;
  void ExpectAll(const std::vector<Row>& rows) const;

  // Runs with --json and checks standard output in any case. Returns the documents.
  std::string ExpectJson(int exit, Words arguments, const Words& output = {}) const;

  // Returns the words of all commands, as the help texts list them, without groups of commands.
  [[nodiscard]] std::vector<Words> AllCommands() const;

  // Rewrites the store's configuration, with these lines after the document root.
  void Configure(const std::string& lines) const;

  TempFolder folder;
};

#endif
