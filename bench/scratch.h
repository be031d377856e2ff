#ifndef TVL_BENCH_SCRATCH_H
#define TVL_BENCH_SCRATCH_H

#include <cstdint>
#include <filesystem>
#include <string>

namespace bench {

// The folder in which everything happens, on one file system; removed at the end. In source/ lies what gets
// read: big.bin, text.txt, tree/. It is the document root of gets and the working directory of puts. What tvl
// writes goes to ours/, what the other program writes to theirs/.
class Scratch {
 public:
  // `divide`: sizes and counts are divided by it, for a quick look.
  Scratch(std::filesystem::path folder, unsigned int divide);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  [[nodiscard]] std::filesystem::path Source() const { return folder_ / "source"; }
  [[nodiscard]] std::filesystem::path Ours() const { return folder_ / "ours"; }
  [[nodiscard]] std::filesystem::path Theirs() const { return folder_ / "theirs"; }
  [[nodiscard]] std::uint64_t Divided(std::uint64_t number) const { return number / divide_; }

  // Files below source/, made by the first who asks. The paths are relative to it.
  std::string Big();
  std::string Text();
  std::string LongText();  // four times Text, one behind the other
  std::string Tree();

  // A configuration file for a store with that document root. `safety` is its SafeOnTransfert, 0 to 2.
  [[nodiscard]] std::string Config(const std::filesystem::path& root, const char* policy, bool packed,
                                   int safety = 0) const;

  // Empties ours/ and theirs/. Trees go aside and are not removed: for some seconds file systems keep off the
  // places of files that went, and their search for others would be what the next program is measured by.
  void EmptyTargets();

  // Has everything written to the disk, so that the next program doesn't wait for the last one's bytes.
  void Sync() const;

 private:
  std::filesystem::path folder_;
  unsigned int divide_;
  int used_trees_ = 0;
};

}  // namespace bench

#endif
