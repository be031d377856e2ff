#ifndef TVL_BENCH_SCRATCH_H
#define TVL_BENCH_SCRATCH_H

#include <cstdint>
#include <filesystem>
#include <string>

namespace bench {

// The working folder of the benchmark, on one file system; removed at the end. source/ contains the files to
// read: big.bin, text.txt, tree/. It is the document root of gets and the working directory of puts. tvl
// writes to ours/, the other program to theirs/.
class Scratch {
 public:
  // Sizes and counts are divided by `divide`, for a quick check.
  Scratch(std::filesystem::path folder, unsigned int divide);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  [[nodiscard]] std::filesystem::path Source() const { return folder_ / "source"; }
  [[nodiscard]] std::filesystem::path Ours() const { return folder_ / "ours"; }
  [[nodiscard]] std::filesystem::path Theirs() const { return folder_ / "theirs"; }
  [[nodiscard]] std::uint64_t Divided(std::uint64_t number) const { return number / divide_; }

  // Return paths relative to source/. The first call creates the files.
  std::string Big();
  std::string Text();
  std::string LongText();  // four times Text
  std::string Tree();

  // Writes a configuration for a store with that document root. `safety` is its SafeOnTransfert, 0 to 2.
  [[nodiscard]] std::string Config(const std::filesystem::path& root, const char* policy, bool packed,
                                   int safety = 0) const;

  // Empties ours/ and theirs/. Moves trees aside instead of removing them: for some seconds file systems do
  // not reuse the space of removed files, and their search for other space would distort the next
  // measurement.
  void EmptyTargets();

  // Writes everything to the disk, so that the next program does not wait for the data of the last one.
  void Sync() const;

 private:
  std::filesystem::path folder_;
  unsigned int divide_;
  int used_trees_ = 0;
};

}  // namespace bench

#endif
