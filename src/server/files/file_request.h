#ifndef TVL_SERVER_FILES_FILE_REQUEST_H
#define TVL_SERVER_FILES_FILE_REQUEST_H

#include <optional>
#include <string>
#include <string_view>

namespace tvl::server {

// The file that a get or a put requests.
struct FileRequest {
  // Parses the command of a get or a put.
  explicit FileRequest(std::string_view command);

  std::string name;                  // as it was sent
  std::optional<std::string> clean;  // nothing if it cannot be the name of a file in the store
  std::string stamp;                 // of the client's copy
  bool forbidden = false;            // the client has no right to it
};

}  // namespace tvl::server

#endif
