#ifndef TVL_SERVER_OPEN_FILES_H
#define TVL_SERVER_OPEN_FILES_H

#include <cstddef>

namespace tvl::server {

// Raises the number of files that this process may have open as far as it goes, and gives the number of
// clients, at most `wanted`, for which that suffices.
[[nodiscard]] std::size_t MakeRoomForClients(std::size_t wanted);

}  // namespace tvl::server

#endif
