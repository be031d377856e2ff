#ifndef TVL_SERVER_WIRE_ENTRANCE_H
#define TVL_SERVER_WIRE_ENTRANCE_H

namespace tvl::server {

// How clients come in.
enum class Entrance {
  kPlain,
  kProxy  // a proxy first reports its client
};

}  // namespace tvl::server

#endif
