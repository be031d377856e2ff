#include "server/port_file.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace tvl::server {

PortFile::PortFile(std::string path, unsigned int port) : path_(std::move(path)), port_(port) {
  const std::string fresh = path_ + ".new";
  std::ofstream file(fresh);
  file << port << '\n';
  file.close();
  std::error_code problem;
  if (file) std::filesystem::rename(fresh, path_, problem);
  if (!file || problem) throw std::runtime_error("port file cannot be written: " + path_);
}

PortFile::PortFile(PortFile&& other) noexcept
    : path_(std::exchange(other.path_, std::string())), port_(other.port_) {}

PortFile::~PortFile() {
  if (path_.empty()) return;
  unsigned int port = 0;
  std::ifstream file(path_);
  if (!(file >> port) || port != port_) return;
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
}

}  // namespace tvl::server
