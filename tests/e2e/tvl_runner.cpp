#include "e2e/tvl_runner.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace {

namespace fs = std::filesystem;

std::string StateOf(const fs::path& path) {
  struct stat status = {};
  lstat(path.c_str(), &status);
  return std::to_string(status.st_mode) + " " + std::to_string(status.st_mtim.tv_sec) + "." +
         std::to_string(status.st_mtim.tv_nsec);
}

void ExpectOutput(const std::string& text, const Words& output) {
  for (const std::string& part : output)
    EXPECT_NE(text.find(part), std::string::npos) << part << "\nis not in\n" << text;
}

// Returns the names of the commands that a help text lists.
Words CommandsIn(const std::string& help) {
  Words commands;
  const std::string title = "\nCommands:\n";
  const std::size_t at = help.find(title);
  std::istringstream lines(at == std::string::npos ? "" : help.substr(at + title.size()));
  for (std::string line; std::getline(lines, line) && line.starts_with("  ");) {
    if (line[2] != ' ') commands.push_back(line.substr(2, line.find(' ', 2) - 2));
  }
  return commands;
}

}  // namespace

Tree ContentsOf(const std::string& folder) {
  Tree tree;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().lexically_relative(folder).string();
    std::ostringstream bytes;
    if (entry.is_regular_file()) bytes << std::ifstream(entry.path(), std::ios::binary).rdbuf();
    tree[entry.is_directory() ? name + "/" : name] = bytes.str();
  }
  return tree;
}

Tree SnapshotOf(const std::string& folder) {
  Tree tree = ContentsOf(folder);
  tree[folder] = StateOf(folder);
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder))
    tree[entry.path()] = StateOf(entry.path());
  return tree;
}

bool AreJsonLines(const std::string& text) {
  std::istringstream lines(text);
  bool good = text.ends_with('\n');
  for (std::string line; std::getline(lines, line);) good = good && nlohmann::json::accept(line);
  return good;
}

TvlTest::TvlTest() {
  folder.Make("work");
  Expect(0, {"init", folder.Host("store")});
}

ProcessStart TvlTest::Start(const Words& arguments) const {
  ProcessStart start = {{TVL_PROGRAM}};
  start.command.insert(start.command.end(), arguments.begin(), arguments.end());
  start.environment["TVL_CONFIG"] = folder.Host("store/tvl.ini");
  start.folder = folder.Host("work");
  return start;
}

ProcessResult TvlTest::Expect(int exit, const Words& arguments, const Words& output) const {
  SCOPED_TRACE(testing::PrintToString(arguments));
  const ProcessResult result = RunProcess(Start(arguments));
  EXPECT_EQ(result.exit, exit) << result.out << result.err;
  ExpectOutput(exit == 0 ? result.out : result.err, output);
  return result;
}

void TvlTest::ExpectAll(const std::vector<Row>& rows) const {
  for (const Row& row : rows) Expect(row.exit, row.arguments, row.output);
}

std::string TvlTest::ExpectJson(int exit, Words arguments, const Words& output) const {
  arguments.insert(arguments.begin(), "--json");
  const ProcessResult result = Expect(exit, arguments);
  EXPECT_TRUE(AreJsonLines(result.out)) << testing::PrintToString(arguments) << "\n" << result.out;
  ExpectOutput(result.out, output);
  return result.out;
}

// Checks the help texts on the way.
std::vector<Words> TvlTest::AllCommands() const {
  std::vector<Words> groups = {{}};
  std::vector<Words> commands;
  for (std::size_t at = 0; at < groups.size(); ++at) {
    Words words = groups[at];
    words.emplace_back("--help");
    const std::string help = Expect(0, words, {"Examples:\n  tvl "}).out;
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
    words.pop_back();
    const Words names = CommandsIn(help);
    if (names.empty()) commands.push_back(words);
    for (const std::string& name : names) {
      groups.push_back(words);
      groups.back().push_back(name);
    }
  }
  return commands;
}

void TvlTest::Configure(const std::string& lines) const {
  folder.Write("store/tvl.ini",
               "[TavolisFileSystem]\nDocumentRoot=" + folder.Host("store") + "\n" + lines + "\n");
}
