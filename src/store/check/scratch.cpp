#include "store/check/scratch.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "host/descriptor.h"
#include "host/system_calls.h"
#include "store/check/finding.h"
#include "store/host_name.h"

namespace tvl {

std::string Reason() {
  return std::generic_category().message(errno);
}

void WriteContents(const std::string& path, std::string_view text) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
  const Descriptor file(System().open(path.c_str(), kFlags, 0666));
  if (!file.IsOpen()) return;
  System().write(file.Get(), text.data(), text.size());
  System().fchmod(file.Get(), 0666);
}

bool IsThere(const std::string& path) {
  struct stat status = {};
  return System().stat(path.c_str(), &status) == 0;
}

std::string ContentsOf(const std::string& path) {
  const Descriptor file(System().open(path.c_str(), O_RDONLY | O_CLOEXEC, 0));
  std::array<char, 256> contents = {};  // all that the checks write is shorter
  const ssize_t count = file.IsOpen() ? System().read(file.Get(), contents.data(), contents.size()) : 0;
  return {contents.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

Scratch::Scratch(const std::string& folder) : path_(InHostFolder(folder, ".tvl-doctor-XXXXXX")) {
  if (mkdtemp(path_.data()) == nullptr) problem_ = errno;
}

Scratch::~Scratch() {
  if (problem_ != 0) return;
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string Scratch::File(const std::string& name, std::string_view text) const {
  WriteContents(Path(name), text);
  return Path(name);
}

std::string Scratch::Path(const std::string& name) const {
  return InHostFolder(path_, name);
}

}  // namespace tvl
