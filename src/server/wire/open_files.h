#ifndef TVL_SERVER_WIRE_OPEN_FILES_H
#define TVL_SERVER_WIRE_OPEN_FILES_H

#include <cstddef>

namespace tvl::server {

// Raises the limit of open files as far as possible. Returns the number of clients, at most `wanted`, for
// which it is sufficient when `others` more files are needed elsewhere.
[[nodiscard]] std::size_t MakeRoomForClients(std::size_t wanted, std::size_t others);

}  // namespace tvl::server

#endif
