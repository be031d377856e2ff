#ifndef TVL_SERVER_STATUS_HTTP_SERVER_H
#define TVL_SERVER_STATUS_HTTP_SERVER_H

#include <httplib.h>

namespace tvl::server {

// An HTTP server that can also answer on a socket of the service manager, which must go on listening when
// this server ends.
class HttpServer : public httplib::Server {
 public:
  // Answers on a listening socket that is already open, in place of a call of bind_to_port. `socket` is
  // borrowed.
  void Adopt(int socket);

  // Ends listen_after_bind.
  void Stop();

 private:
  int adopted_ = -1;
};

}  // namespace tvl::server

#endif
