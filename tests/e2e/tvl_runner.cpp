#include "e2e/tvl_runner.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

namespace fs = std::filesystem;

std::string FileBytes(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Portrait(const fs::path& path) {
  struct stat status = {};
  lstat(path.c_str(), &status);
  std::string text = std::to_string(status.st_mode) + " " + std::to_string(status.st_mtim.tv_sec) + "." +
                     std::to_string(status.st_mtim.tv_nsec) + " ";
  if (S_ISREG(status.st_mode)) text += FileBytes(path);
  if (S_ISLNK(status.st_mode)) text += fs::read_symlink(path).string();
  return text;
}

}  // namespace

Snapshot SnapshotOf(const std::string& folder) {
  Snapshot snapshot = {{".", Portrait(folder)}};
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder))
    snapshot[entry.path().lexically_relative(folder).string()] = Portrait(entry.path());
  return snapshot;
}

std::map<std::string, std::string> ContentsOf(const std::string& folder) {
  std::map<std::string, std::string> contents;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().lexically_relative(folder).string();
    if (entry.is_directory()) {
      contents[name + "/"] = "";
    } else {
      contents[name] = FileBytes(entry.path());
    }
  }
  return contents;
}

TvlTest::TvlTest() {
  folder.Make("work");
  Expect(0, {"init", folder.Host("store")});
}

ProcessStart TvlTest::Start(const std::vector<std::string>& arguments) const {
  ProcessStart start = {{TVL_PROGRAM}};
  start.command.insert(start.command.end(), arguments.begin(), arguments.end());
  start.environment["TVL_CONFIG"] = folder.Host("store/tvl.ini");
  start.folder = folder.Host("work");
  return start;
}

ProcessResult TvlTest::Tvl(const std::vector<std::string>& arguments) const {
  return RunProcess(Start(arguments));
}

ProcessResult TvlTest::Expect(int exit, const std::vector<std::string>& arguments) const {
  const ProcessResult result = Tvl(arguments);
  EXPECT_EQ(result.exit, exit) << testing::PrintToString(arguments) << "\n" << result.out << result.err;
  return result;
}

void TvlTest::Configure(const std::string& lines) const {
  folder.Write("store/tvl.ini",
               "[TavolisFileSystem]\nDocumentRoot=" + folder.Host("store") + "\n" + lines + "\n");
}
