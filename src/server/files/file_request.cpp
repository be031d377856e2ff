#include "server/files/file_request.h"

#include "server/files/names.h"
#include "tcp/protocol.h"

namespace tvl::server {

FileRequest::FileRequest(std::string_view command) : stamp(protocol::kForcedStamp) {
  const std::string_view text = command.substr(1);
  const std::size_t tab = text.find(protocol::kFieldSeparator);
  name = text.substr(0, tab);
  if (tab != std::string_view::npos) stamp = text.substr(tab + 1);
  clean = CleanName(name);
}

}  // namespace tvl::server
