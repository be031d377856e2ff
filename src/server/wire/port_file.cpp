#include "server/wire/port_file.h"

#include <fcntl.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "host/descriptor.h"
#include "host/read_all.h"
#include "host/system_calls.h"
#include "host/write_all.h"

namespace tvl::server {
namespace {

constexpr mode_t kMode = 0666;
constexpr std::size_t kLongestText = 16;

std::string Text(unsigned int port) {
  return std::to_string(port) + "\n";
}

// Returns 0 or an errno value.
int Write(const std::string& path, const std::string& text) {
  Descriptor file(System().open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode));
  if (!file.IsOpen()) return errno;
  const int written = WriteAll(file.Get(), text.data(), text.size());
  const int closed = file.Close();
  return written != 0 ? written : closed;
}

// Returns an empty text for a file that cannot be read.
std::string Read(const std::string& path) {
  std::string text;
  const Descriptor file(System().open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC, 0));
  return file.IsOpen() && ReadAll(file.Get(), text, kLongestText) == 0 ? text : std::string();
}

}  // namespace

PortFile::PortFile(std::string path, unsigned int port) : path_(std::move(path)), port_(port) {
  const std::string fresh = path_ + ".new";
  int problem = Write(fresh, Text(port));
  if (problem == 0 && System().rename(fresh.c_str(), path_.c_str()) != 0) problem = errno;
  if (problem == 0) return;
  System().unlink(fresh.c_str());
  throw std::system_error(problem, std::generic_category(), "port file cannot be written: " + path_);
}

PortFile::PortFile(PortFile&& other) noexcept
    : path_(std::exchange(other.path_, std::string())), port_(other.port_) {}

PortFile::~PortFile() {
  if (!path_.empty() && Read(path_) == Text(port_)) System().unlink(path_.c_str());
}

}  // namespace tvl::server
