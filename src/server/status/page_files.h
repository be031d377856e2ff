#ifndef TVL_SERVER_STATUS_PAGE_FILES_H
#define TVL_SERVER_STATUS_PAGE_FILES_H

#include <span>

namespace tvl::server {

// A file of the status page, embedded when the server is built.
struct PageFile {
  const char* path;  // as a browser asks for it
  const char* type;
  const char* contents;
};

[[nodiscard]] std::span<const PageFile> PageFiles();

}  // namespace tvl::server

#endif
