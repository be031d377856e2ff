#ifndef TVL_SERVER_STATUS_STATUS_SERVER_H
#define TVL_SERVER_STATUS_STATUS_SERVER_H

#include <memory>

#include "server/sessions/service.h"

namespace tvl::server {

// Answers HTTP requests for the server's state, on threads of its own: metrics, health, and a page that shows
// who does what. Nothing can be changed here.
//
// Event streams have places of their own, so that metrics and health are answered while all are taken.
class StatusServer {
 public:
  // Open files that this may take at once, besides those of the server's clients.
  static constexpr std::size_t kOpenFiles = 64;

  // Listens where the options say, writes the port file, and answers from now on. `service` is borrowed.
  // Throws std::runtime_error if that address cannot be listened on.
  explicit StatusServer(const Service& service);

  // Ends the process if some connection, or the store, does not let it end within some seconds.
  ~StatusServer();
  StatusServer(const StatusServer&) = delete;
  StatusServer& operator=(const StatusServer&) = delete;

 private:
  class Pages;
  std::unique_ptr<Pages> pages_;
};

}  // namespace tvl::server

#endif
