#include "cli/doctor/scratch.h"

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "cli/doctor/finding.h"
#include "cli/failure.h"
#include "cli/text.h"

namespace tvl::cli {

std::string Reason() {
  return std::generic_category().message(errno);
}

std::string ContentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Scratch::Scratch(const std::string& folder) : path_(Joined(folder, ".tvl-doctor-XXXXXX")) {
  if (mkdtemp(path_.data()) == nullptr) throw Stop({}, {kFailed, 0, "nothing can be written", errno, folder});
}

Scratch::~Scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string Scratch::File(const std::string& name, const std::string& text) const {
  std::ofstream(Path(name), std::ios::binary) << text;
  return Path(name);
}

std::string Scratch::Path(const std::string& name) const {
  return Joined(path_, name);
}

}  // namespace tvl::cli
