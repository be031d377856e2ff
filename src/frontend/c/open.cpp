#include <cstring>
#include <new>
#include <utility>

#include "base/fixed_text.h"
#include "frontend/c/handle.h"
#include "frontend/c/paths.h"
#include "frontend/c/structs.h"

namespace {

using tvl::c::Connection;
using tvl::c::Failure;
using tvl::c::OnClient;
using tvl::c::ReadOnly;

constexpr char kDefaultClass[] = "tvlc";

const char* TextOr(const char* text, const char* otherwise) {
  return text != nullptr ? text : otherwise;
}

// Opens a connection by `open`, which gets the buffer of the working directory, and creates its handle.
template <typename Client, typename Open>
Failure OpenStore(tvlc_store** store, const char* work, Open open) {
  char folder[tvl::kMaxPath];
  if (!tvl::CopyPath(folder, TextOr(work, ""))) return {TVL_ERR_LOCAL_FILE, {}, "the path is too long"};
  auto client = std::make_unique<Client>();
  if (const int code = open(*client, folder)) return {code, tvl::TakeLastError(), nullptr};
  auto handle = std::make_unique<tvlc_store>();
  handle->connection = std::make_shared<Connection>(std::move(client));
  *store = handle.release();
  return {};
}

Failure BadArgument() {
  return {TVL_ERR_ARGUMENT, {}, nullptr};
}

// Keeps why the server refused the client, since the connection that knows it is destroyed.
int OpenServer(CTVLClientTcpOpr& client, char* folder, const char* host, uint16_t port,
               const char* class_name, const char* tag, const char*& refusal) {
  char no_configuration[1] = {};
  const int code = client.Open(folder, no_configuration, ReadOnly(host), port,
                               ReadOnly(TextOr(class_name, kDefaultClass)), ReadOnly(TextOr(tag, "")));
  if (code != TVL_OK) refusal = tvl::c::MeaningOfRefusal(client.Refusal());
  return code;
}

void DescribeKind(const Connection& connection, tvlc_store_info& info) {
  if (CTVLClientSmbOpr* directory = connection.Directory())
    tvl::CopyCut(info.root, tvl::c::Slashed(directory->ServerRoot()));
  if (CTVLClientTcpOpr* server = connection.Server()) {
    info.is_server = 1;
    tvl::CopyCut(info.server_version, server->ServerVersion());
  }
}

}  // namespace

int tvlc_open_directory(tvlc_store** store, const char* config_file, const char* work, const char* class_name,
                        tvlc_error* error) {
  return tvl::c::WithoutHandle(error, [&]() -> Failure {
    if (store == nullptr || config_file == nullptr) return BadArgument();
    return OpenStore<CTVLClientSmbOpr>(store, work, [&](CTVLClientSmbOpr& client, char* folder) {
      return client.Open(folder, ReadOnly(config_file), ReadOnly(TextOr(class_name, kDefaultClass)));
    });
  });
}

int tvlc_open_server(tvlc_store** store, const char* host, uint16_t port, const char* work,
                     const char* class_name, const char* tag, tvlc_error* error) {
  return tvl::c::WithoutHandle(error, [&]() -> Failure {
    if (store == nullptr || host == nullptr) return BadArgument();
    const char* refusal = nullptr;
    Failure failure = OpenStore<CTVLClientTcpOpr>(store, work, [&](CTVLClientTcpOpr& client, char* folder) {
      return OpenServer(client, folder, host, port, class_name, tag, refusal);
    });
    failure.what = failure.what != nullptr ? failure.what : refusal;
    return failure;
  });
}

// In a forked child the handle is freed without a turn, since nothing can be ended there.
int tvlc_close(tvlc_store* store) {
  if (store == nullptr) return TVL_OK;
  const std::shared_ptr<Connection> connection = store->connection;
  const int code = connection->Run([&] {
    connection->Close();
    return TVL_OK;
  });
  if (code == TVL_ERR_BUSY) return code;
  delete store;
  return TVL_OK;
}

int tvlc_last_error(tvlc_store* store, tvlc_error* error) {
  if (store == nullptr || !tvl::c::HasSize(error)) return TVL_ERR_ARGUMENT;
  return store->connection->ReportTo(error);
}

void tvlc_stop(tvlc_store* store, int on) {
  if (store != nullptr) store->connection->Stop(on != 0);
}

int tvlc_describe(tvlc_store* store, tvlc_store_info* info) {
  return OnClient(store, {info}, [&](CTVLClientOpr& client) -> int {
    if (!tvl::c::HasSize(info)) return TVL_ERR_ARGUMENT;
    tvlc_store_info result = {};
    result.in_place = client.DumbMode();
    result.instance = client.InstanceId();
    result.compares = client.FileCmp();
    result.version = client.VersionNumber(nullptr, nullptr);
    tvl::CopyCut(result.short_name, client.ShortName());
    tvl::CopyCut(result.long_name, client.LongName());
    tvl::CopyCut(result.computer, client.ComputerName());
    tvl::CopyCut(result.user, client.User());
    tvl::CopyCut(result.work, tvl::c::Slashed(client.WorkingDirectory()));
    DescribeKind(*store->connection, result);
    tvl::c::CopyStruct(result, info);
    return TVL_OK;
  });
}
