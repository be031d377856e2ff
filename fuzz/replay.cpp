#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// Runs a fuzz target with all files of the folders in the arguments, without a fuzzer. Fails if a folder is
// empty.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace {

int Replay(const char* folder) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++files;
  }
  std::printf("%s: %d seeds\n", folder, files);
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  bool good = argc > 1;
  for (int i = 1; i < argc; ++i) good = Replay(argv[i]) > 0 && good;
  return good ? 0 : 1;
}
