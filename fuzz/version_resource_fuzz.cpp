#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <tvlclient/version.h>

#include "platform/version_resource.h"

// The input is an executable file. Reads it with the version functions, and reads further values.

namespace {

// The input as a file, in memory.
class InputFile {
 public:
  InputFile(const std::uint8_t* bytes, std::size_t size) : file_(memfd_create("input", MFD_CLOEXEC)) {
    if (file_ < 0 || write(file_, bytes, size) != static_cast<ssize_t>(size)) std::abort();
  }
  ~InputFile() { close(file_); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  [[nodiscard]] std::string Path() const { return "\\proc\\self\\fd\\" + std::to_string(file_); }

 private:
  int file_;
};

// Checks that every byte of a value is in the block.
void Ask(std::vector<char>& block, const char* name) {
  void* value = nullptr;
  UINT length = 0;
  if (VerQueryValueA(block.data(), name, &value, &length) == 0) return;
  const auto* begin = static_cast<const char*>(value);
  if (begin < block.data() || begin + length > block.data() + block.size()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const InputFile file(bytes, size);
  std::string path = file.Path();
  int version = 0;
  int build = 0;
  int total = 0;
  const int known = TVLGetVersionFromTavolisWinExe(path.data(), &version, &build, &total);
  if (version < 0 || version > 99 || build < 0 || build > 999999) std::abort();
  if (known == 0 && total != 0) std::abort();
  const CString text = TVLGetVersionStringFromWinExe(path.data());
  const bool digits = std::strspn(text, "0123456789.") == static_cast<std::size_t>(text.GetLength());
  if (!digits && std::strcmp(text, "Non definita") != 0) std::abort();
  std::vector<char> block(GetFileVersionInfoSizeA(path.c_str(), nullptr));
  if (block.empty()) return 0;
  GetFileVersionInfoA(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data());
  for (const char* name :
       {"", "\\", "\\VarFileInfo", "\\VarFileInfo\\Translation", "\\StringFileInfo\\040904b0\\CompanyName"})
    Ask(block, name);
  return 0;
}
