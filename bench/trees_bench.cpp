// Compares the library's operations on trees with programs that do the same, both sides in one run, and
// prints the ratios. The library runs in a child of this program, so that both sides include the start of a
// process.

#include <charconv>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include <tvlclient/smb_opr.h>

#include "process.h"
#include "scratch.h"
#include "table.h"

namespace {

namespace fs = std::filesystem;
using bench::Alternate;
using bench::Command;
using bench::Contender;
using bench::Row;
using bench::Usage;
using std::string;

constexpr char kUsage[] =
    "usage: trees_bench [--dir FOLDER] [--runs N] [--divide N] [--only trees|list|plan|sync|wide]\n"
    "  --dir FOLDER  folder for the files, created and removed again (default: build/trees_bench)\n"
    "  --runs N      runs of each program after a warm-up run (default: 5)\n"
    "  --divide N    divide counts by N, for a quick check (default: 1)\n"
    "  --only WORD   run one group of rows only\n";

constexpr int kWideFiles = 100000;

// --- The library's side: one task as a program ---

char* Text(string text) {
  text.resize(260);  // the interface takes writable texts with the size of a path
  static string kept[8];
  static std::size_t next = 0;
  string& place = kept[next++ % 8];
  place = std::move(text);
  return place.data();
}

int CopyTree(const Command& words) {
  CTVLClientSmbOpr opr;
  return opr.CopyDosDir(Text(words[0]), Text(words[1]), nullptr, nullptr);
}

int RemoveTree(const Command& words) {
  CTVLClientSmbOpr opr;
  return opr.RemoveDosDir(Text(words[0]), nullptr, nullptr);
}

// Arguments: configuration, working directory, folder.
int ListFolder(const Command& words) {
  CTVLClientSmbOpr opr;
  if (const int code = opr.Open(Text(words[1]), Text(words[0]), Text("bnch"))) return code;
  int count = 0;
  CString list;
  const int code = opr.GetRemoteDirContent(Text(words[2]), Text("*.*"), &count, list);
  std::fwrite(list.GetString(), 1, static_cast<std::size_t>(list.GetLength()), stdout);
  return code;
}

// Arguments: configuration, working directory, and what to do with folder t of both: plan, or plan and work.
int Synchronise(const Command& words) {
  CTVLClientSmbOpr opr;
  if (const int code = opr.Open(Text(words[1]), Text(words[0]), Text("bnch"))) return code;
  unsigned int total = 0;
  const int code = opr.SyncDirOpenGetRemote(Text(words[2]), Text("*.*"), &total);
  return code == 0 && words[3] == "work" ? opr.SyncDirSyncronize(nullptr, nullptr) : code;
}

struct Piece {
  const char* name;
  std::size_t words;
  int (*run)(const Command& words);
};

constexpr Piece kPieces[] = {
    {"copy", 2, CopyTree}, {"remove", 1, RemoveTree}, {"list", 3, ListFolder}, {"sync", 4, Synchronise}};

int RunPiece(const Command& words) {
  for (const Piece& piece : kPieces) {
    if (words[0] == piece.name && words.size() == piece.words + 1) {
      return piece.run(Command(words.begin() + 1, words.end()));
    }
  }
  return 2;
}

// --- Both sides ---

struct Setting {
  bench::Scratch& scratch;
  int runs;

  [[nodiscard]] Contender Ours(const Command& words) const {
    Command command = {"/proc/self/exe", "--do"};
    command.insert(command.end(), words.begin(), words.end());
    return {"tvl", command};
  }

  [[nodiscard]] Contender Sync(const char* policy, const string& folder, const char* what) const {
    return Ours(
        {"sync", scratch.Config(scratch.Source(), policy, false), scratch.Ours().string(), folder, what});
  }

  // Returns rsync for the same folder.
  [[nodiscard]] Contender Rsync(const char* options, const string& folder) const {
    return {string("rsync ") + options,
            {"rsync", options, "--delete", (scratch.Source() / folder).string() + "/",
             (scratch.Theirs() / folder).string() + "/"}};
  }

  [[nodiscard]] Row Compare(const string& work, const Contender& ours, const Contender& other, double aim,
                            const std::function<void()>& prepare) const {
    const std::vector<Usage> usages = Alternate({ours, other}, runs, prepare);
    return {work, usages[0].seconds, other.name, usages[1].seconds, "s", aim};
  }
};

// Creates empty files in one folder, once.
string MakeWide(const bench::Scratch& scratch, std::uint64_t files) {
  const string name = "wide" + std::to_string(files);
  const fs::path folder = scratch.Source() / name;
  if (!fs::create_directory(folder)) return name;
  for (std::uint64_t file = 0; file < files; ++file) {
    std::ofstream(folder / ("file" + std::to_string(file) + ".txt")) << file;
  }
  return name;
}

std::vector<Row> TreeRows(const Setting& setting) {
  bench::Scratch& scratch = setting.scratch;
  const string source = (scratch.Source() / scratch.Tree()).string();
  const string ours = (scratch.Ours() / "t").string();
  const string theirs = (scratch.Theirs() / "t").string();
  const auto empty = [&] {
    scratch.EmptyTargets();
    scratch.Sync();
  };
  const auto fill = [&] {
    for (const string& target : {ours, theirs}) {
      if (!fs::exists(target)) fs::copy(source, target, fs::copy_options::recursive);
    }
    scratch.Sync();
  };
  return {setting.Compare("CopyDosDir of 10,000 files", setting.Ours({"copy", source, ours}),
                          {"cp -r", {"cp", "-r", source, theirs}}, 1.2, empty),
          setting.Compare("RemoveDosDir of 10,000 files", setting.Ours({"remove", ours}),
                          {"rm -r", {"rm", "-r", theirs}}, 1.2, fill)};
}

std::vector<Row> ListRows(const Setting& setting) {
  bench::Scratch& scratch = setting.scratch;
  const string wide = MakeWide(scratch, scratch.Divided(kWideFiles));
  const string config = scratch.Config(scratch.Source(), "time", false);
  return {setting.Compare("GetRemoteDirContent of 100,000 names",
                          setting.Ours({"list", config, scratch.Ours().string(), wide}),
                          {"ls -U", {"ls", "-U", (scratch.Source() / wide).string()}}, 2.0, [] {})};
}

// Fills both folders, so that a plan compares every file.
std::vector<Row> PlanRows(const Setting& setting) {
  bench::Scratch& scratch = setting.scratch;
  std::vector<Contender> plans;
  for (const int part : {1, 100}) {
    const string wide = MakeWide(scratch, scratch.Divided(kWideFiles) / static_cast<unsigned int>(part));
    bench::Run(setting.Sync("time", wide, "work").command);
    plans.push_back(setting.Sync("time", wide, "plan"));
  }
  const std::vector<Usage> usages = Alternate(plans, setting.runs, [] {});
  return {{"a plan of 100,000 files", usages[0].seconds, "one of 1,000", usages[1].seconds, "s", 150.0}};
}

std::vector<Row> SyncRows(const Setting& setting) {
  bench::Scratch& scratch = setting.scratch;
  const string tree = scratch.Tree();
  const auto empty = [&] {
    scratch.EmptyTargets();
    scratch.Sync();
  };
  std::vector<Row> rows = {setting.Compare("sync of 10,000 files of 4 KiB, none present",
                                           setting.Sync("time", tree, "work"), setting.Rsync("-a", tree), 1.0,
                                           empty)};
  empty();
  bench::Run(setting.Sync("time", tree, "work").command);
  bench::Run(setting.Rsync("-a", tree).command);
  rows.push_back(setting.Compare("the same, nothing changed, policy time", setting.Sync("time", tree, "work"),
                                 setting.Rsync("-a", tree), 1.0, [] {}));
  rows.push_back(setting.Compare("the same, nothing changed, policy HASH", setting.Sync("HASH", tree, "work"),
                                 setting.Rsync("-ac", tree), 1.0, [] {}));
  return rows;
}

std::vector<Row> WideRows(const Setting& setting) {
  const string wide = MakeWide(setting.scratch, setting.scratch.Divided(kWideFiles));
  bench::Run(setting.Sync("time", wide, "work").command);
  bench::Run(setting.Rsync("-a", wide).command);
  return {setting.Compare("sync of 100,000 in one folder, nothing changed",
                          setting.Sync("time", wide, "work"), setting.Rsync("-a", wide), 1.0, [] {})};
}

struct Group {
  const char* word;
  const char* title;
  std::vector<Row> (*rows)(const Setting& setting);
};

constexpr Group kGroups[] = {
    {"trees", "Trees copied and removed", TreeRows},
    {"list", "One large folder listed", ListRows},
    {"plan", "Growth of planning", PlanRows},
    {"sync", "Synchronization of many folders", SyncRows},
    {"wide", "Synchronization of one large folder", WideRows},
};

struct Options {
  string folder = "build/trees_bench";
  int runs = 5;
  int divide = 1;
  string only;
};

bool ParsePositive(std::string_view text, int& number) {
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
  return problem == std::errc() && end == text.data() + text.size() && number > 0;
}

bool Parse(int argc, char** argv, Options& options) {
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string_view name = argv[i];
    if (name == "--dir") {
      options.folder = argv[i + 1];
    } else if (name == "--only") {
      options.only = argv[i + 1];
    } else if (name == "--runs" ? !ParsePositive(argv[i + 1], options.runs)
                                : name != "--divide" || !ParsePositive(argv[i + 1], options.divide)) {
      return false;
    }
  }
  return argc % 2 == 1;
}

void Measure(const Options& options) {
  bench::Scratch scratch(fs::absolute(options.folder), static_cast<unsigned int>(options.divide));
  const Setting setting = {scratch, options.runs};
  std::printf(
      "Ratio: time of the library divided by that of the other program; below 1 is faster. Medians of %d "
      "alternating runs.\n",
      options.runs);
  if (options.divide > 1)
    std::printf("Counts are divided by %d, so the aims do not apply.\n", options.divide);
  for (const Group& group : kGroups) {
    if (options.only.empty() || options.only == group.word) bench::Print(group.title, group.rows(setting));
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc > 2 && std::strcmp(argv[1], "--do") == 0) return RunPiece(Command(argv + 2, argv + argc));
  Options options;
  if (!Parse(argc, argv, options)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  Measure(options);
  return 0;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "trees_bench: %s\n", problem.what());
  return 1;
}
