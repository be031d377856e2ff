#include "scratch.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMebi = std::uint64_t{1} << 20U;
constexpr std::uint64_t kBigSize = 1024 * kMebi;
constexpr std::uint64_t kTextSize = 256 * kMebi;
constexpr std::uint64_t kTreeFiles = 10000;
constexpr std::uint64_t kTreeFolders = 100;
constexpr std::uint64_t kTreeFileSize = 4096;

std::ofstream Create(const fs::path& path) {
  std::ofstream file(path, std::ios::binary);
  file.exceptions(std::ios::failbit | std::ios::badbit);
  return file;
}

// Writes incompressible bytes, the same in each run.
void WriteNoise(std::mt19937_64& random, std::uint64_t size, const fs::path& path) {
  std::ofstream file = Create(path);
  std::vector<std::uint64_t> block(std::min(size, kMebi) / sizeof(std::uint64_t));
  for (std::uint64_t left = size; left > 0;) {
    for (std::uint64_t& word : block) word = random();
    const std::uint64_t count = std::min<std::uint64_t>(left, block.size() * sizeof(std::uint64_t));
    file.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(count));
    left -= count;
  }
}

std::vector<std::string> Vocabulary(std::mt19937_64& random) {
  constexpr std::string_view letters = "eeeeeetttttaaaaoooiiinnnssshhhrrrdddlllcumwfgypbvk";
  std::vector<std::string> words(20000);
  for (std::string& word : words) {
    const std::size_t length = 2 + random() % 9;
    while (word.size() < length) word += letters[random() % letters.size()];
  }
  return words;
}

// Writes words with a natural distribution: the n-th most frequent word is 1/n times as frequent as the
// first.
void WriteWords(std::uint64_t size, const fs::path& path) {
  std::mt19937_64 random(2);
  const std::vector<std::string> words = Vocabulary(random);
  std::uniform_real_distribution<double> uniform(0, std::log(static_cast<double>(words.size())));
  std::ofstream file = Create(path);
  std::string line;
  for (std::uint64_t left = size; left > 0; left -= line.size()) {
    line.clear();
    while (line.size() < 72) line += words[static_cast<std::size_t>(std::exp(uniform(random))) - 1] + " ";
    line.back() = '\n';
    if (line.size() > left) line.resize(left);
    file << line;
  }
}

}  // namespace

Scratch::Scratch(fs::path folder, unsigned int divide) : folder_(std::move(folder)), divide_(divide) {
  if (!fs::create_directories(folder_)) throw std::runtime_error(folder_.string() + " already exists");
  for (const fs::path& part : {Source(), Ours(), Theirs()}) fs::create_directory(part);
}

Scratch::~Scratch() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

std::string Scratch::Big() {
  std::mt19937_64 random(1);
  if (!fs::exists(Source() / "big.bin")) WriteNoise(random, Divided(kBigSize), Source() / "big.bin");
  return "big.bin";
}

std::string Scratch::Text() {
  if (!fs::exists(Source() / "text.txt")) WriteWords(Divided(kTextSize), Source() / "text.txt");
  return "text.txt";
}

std::string Scratch::LongText() {
  const fs::path text = Source() / Text();
  if (fs::exists(Source() / "long.txt")) return "long.txt";
  std::ofstream file = Create(Source() / "long.txt");
  for (int i = 0; i < 4; ++i) file << std::ifstream(text, std::ios::binary).rdbuf();
  return "long.txt";
}

std::string Scratch::Tree() {
  const fs::path tree = Source() / "tree";
  if (fs::exists(tree)) return "tree";
  std::mt19937_64 random(3);
  for (std::uint64_t folder = 0; folder < kTreeFolders; ++folder) {
    const fs::path place = tree / std::to_string(folder);
    fs::create_directories(place);
    for (std::uint64_t file = 0; file < Divided(kTreeFiles) / kTreeFolders; ++file) {
      WriteNoise(random, kTreeFileSize, place / ("file" + std::to_string(file) + ".bin"));
    }
  }
  return "tree";
}

std::string Scratch::Config(const fs::path& root, const char* policy, bool packed, int safety) const {
  const fs::path path = folder_ / (root.filename().string() + policy + std::to_string(packed) +
                                   std::to_string(safety) + ".ini");
  Create(path) << "[TavolisFileSystem]\nFileCompare=" << policy << "\nZipOnTransfert=" << (packed ? 1 : 0)
               << "\nSafeOnTransfert=" << safety << "\n[Environments]\nDocumentRoot=" << root.string()
               << "\nTmpDir=" << (folder_ / "tmp").string() << "\n";
  return path.string();
}

void Scratch::EmptyTargets() {
  const fs::path used = folder_ / "used";
  fs::create_directory(used);
  for (const fs::path& target : {Ours(), Theirs()}) {
    const std::vector<fs::directory_entry> entries{fs::directory_iterator(target), {}};
    for (const fs::directory_entry& entry : entries) {
      if (entry.is_directory()) {
        fs::rename(entry.path(), used / std::to_string(used_trees_++));
      } else {
        fs::remove(entry.path());
      }
    }
  }
}

void Scratch::Sync() const {
  const int folder = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return;
  syncfs(folder);
  close(folder);
}

}  // namespace bench
