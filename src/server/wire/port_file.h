#ifndef TVL_SERVER_WIRE_PORT_FILE_H
#define TVL_SERVER_WIRE_PORT_FILE_H

#include <string>

namespace tvl::server {

// A file that contains the number of a port for as long as this object exists.
class PortFile {
 public:
  // Writes the file atomically, so that a process that waits for it always finds the number in it. Throws
  // std::system_error if it cannot be written.
  PortFile(std::string path, unsigned int port);

  // Keeps the file if another server has written it in the meantime.
  ~PortFile();
  PortFile(PortFile&& other) noexcept;
  PortFile(const PortFile&) = delete;
  PortFile& operator=(const PortFile&) = delete;
  PortFile& operator=(PortFile&&) = delete;

 private:
  std::string path_;  // empty once moved from
  unsigned int port_;
};

}  // namespace tvl::server

#endif
