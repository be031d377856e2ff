// Compares tvl with programs that do the same work, both sides in one run, and prints the ratios.

#include <charconv>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>

#include "rows.h"

namespace {

constexpr char kUsage[] =
    "usage: tvl_bench --tvl PROGRAM [--dir FOLDER] [--runs N] [--divide N] [--only hash|big|tree|packed]\n"
    "  --dir FOLDER  folder for a few GB of files, created and removed again (default: build/bench)\n"
    "  --runs N      runs of each program after a warm-up run (default: 5)\n"
    "  --divide N    divide sizes and counts by N, for a quick check (default: 1)\n"
    "  --only WORD   run one group of rows only\n";

struct Options {
  std::string tvl;
  std::string folder = "build/bench";
  int runs = 5;
  int divide = 1;
  std::string only;
};

bool ParsePositive(std::string_view text, int& number) {
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
  return problem == std::errc() && end == text.data() + text.size() && number > 0;
}

bool Parse(int argc, char** argv, Options& options) {
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string_view name = argv[i];
    const char* value = argv[i + 1];
    if (name == "--tvl") {
      options.tvl = value;
    } else if (name == "--dir") {
      options.folder = value;
    } else if (name == "--only") {
      options.only = value;
    } else if (name == "--runs" ? !ParsePositive(value, options.runs)
                                : name != "--divide" || !ParsePositive(value, options.divide)) {
      return false;
    }
  }
  return argc % 2 == 1 && !options.tvl.empty();
}

struct Group {
  const char* word;
  const char* title;
  std::vector<bench::Row> (*rows)(const bench::Setting& setting);
};

constexpr Group kGroups[] = {
    {"hash", "Signatures, everything in memory", bench::HashRows},
    {"big", "One large file", bench::BigFileRows},
    {"tree", "Many small files", bench::TreeRows},
    {"packed", "Compressed transfers", bench::PackedRows},
};

void Measure(const Options& options) {
  bench::Scratch scratch(std::filesystem::absolute(options.folder),
                         static_cast<unsigned int>(options.divide));
  const bench::Setting setting = {scratch, std::filesystem::absolute(options.tvl).string(), "/proc/self/exe",
                                  options.runs};
  std::printf(
      "Ratio: time of tvl divided by that of the other program; below 1 is faster. Medians of %d alternating "
      "runs.\n",
      options.runs);
  if (options.divide > 1)
    std::printf("Sizes and counts are divided by %d, so the aims do not apply.\n", options.divide);
  for (const Group& group : kGroups) {
    if (options.only.empty() || options.only == group.word) bench::Print(group.title, group.rows(setting));
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc == 3 && std::string_view(argv[1]) == "--pack") return bench::PackOnly(argv[2]);
  Options options;
  if (!Parse(argc, argv, options)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  Measure(options);
  return 0;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "tvl_bench: %s\n", problem.what());
  return 1;
}
