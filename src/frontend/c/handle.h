#ifndef TVL_FRONTEND_C_HANDLE_H
#define TVL_FRONTEND_C_HANDLE_H

#include <atomic>
#include <exception>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <thread>

#include <tvlclient/smb_opr.h>
#include <tvlclient/tcp_opr.h>

#include "frontend/c/error.h"
#include "platform/names.h"

// What the handles of the C interface have in common: the connection that they share, and the rules by which
// every call on it runs.

namespace tvl::c {

// The connection of a store, shared by the store and the handles that were opened on it.
class Connection {
 public:
  explicit Connection(std::unique_ptr<CTVLClientSmbOpr> directory);
  explicit Connection(std::unique_ptr<CTVLClientTcpOpr> server);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Runs `operation`, which returns a code, as the only call on this connection, and keeps its failure. In a
  // forked child, returns TVL_ERR_NOT_CONNECTED and locks nothing, since the parent's threads do not exist
  // there.
  template <typename Operation>
  int Run(Operation operation) {
    if (!IsOwnProcess()) return TVL_ERR_NOT_CONNECTED;
    if (caller_ == std::this_thread::get_id()) return Keep(TVL_ERR_BUSY);
    const Turn turn(*this);
    static_cast<void>(TakeLastError());
    refusal_ = nullptr;
    return Ended(Guarded(operation));
  }

  // Keeps the failure of a call that did not start. Returns `code`.
  int Keep(int code);
  // Reports the last failure.
  int ReportTo(tvlc_error* error);

  // For operations; null while closed or on the other kind of connection.
  [[nodiscard]] CTVLClientOpr* Client() const { return client_.get(); }
  [[nodiscard]] CTVLClientSmbOpr* Directory() const { return client_ != nullptr ? directory_ : nullptr; }
  [[nodiscard]] CTVLClientTcpOpr* Server() const { return client_ != nullptr ? server_ : nullptr; }

  // Ends the connection. Within an operation only.
  void Close() { client_.reset(); }

  [[nodiscard]] bool IsOwnProcess() const { return process_ == GetCurrentProcessId(); }

  // Explains the failure of a get or a put by the reason that the server sent, if it did. For operations.
  void NoteRefusal();

  // Requests the end of long work. Safe in a signal handler.
  void Stop(bool on) { stop_ = on; }
  [[nodiscard]] bool IsToStop() const { return stop_; }

  bool has_plan = false;  // a synchronization that is not carried out yet; for operations

 private:
  // The right to use the connection.
  class Turn {
   public:
    explicit Turn(Connection& connection) : connection_(connection), lock_(connection.mutex_) {
      connection_.caller_ = std::this_thread::get_id();
    }
    ~Turn() { connection_.caller_ = std::thread::id(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    Connection& connection_;
    std::lock_guard<std::mutex> lock_;
  };

  // The only exceptions of the library are those for memory.
  template <typename Operation>
  static int Guarded(Operation operation) try {
    return operation();
  } catch (const std::exception&) {
    return TVL_ERR_MEMORY;
  }

  int Ended(int code);

  const DWORD process_;
  std::mutex mutex_;
  std::atomic<std::thread::id> caller_;
  std::atomic<bool> stop_ = false;
  std::unique_ptr<CTVLClientOpr> client_;
  CTVLClientSmbOpr* const directory_;
  CTVLClientTcpOpr* const server_;
  const char* refusal_ = nullptr;  // of the current call
  std::mutex failure_mutex_;
  Failure failure_;
};

// The functions below run an operation on the connection of a handle, a structure with a member `connection`.
// They return TVL_ERR_ARGUMENT if the handle or one of the `required` arguments is null.

// Runs an operation that works without the connection too.
template <typename Handle, typename Operation>
int OnHandle(Handle* handle, std::initializer_list<const void*> required, Operation operation) {
  if (handle == nullptr) return TVL_ERR_ARGUMENT;
  const std::shared_ptr<Connection> connection = handle->connection;
  for (const void* argument : required) {
    if (argument == nullptr)
      return connection->IsOwnProcess() ? connection->Keep(TVL_ERR_ARGUMENT) : TVL_ERR_ARGUMENT;
  }
  return connection->Run(operation);
}

// Runs an operation of both kinds of connections.
template <typename Handle, typename Operation>
int OnClient(Handle* handle, std::initializer_list<const void*> required, Operation operation) {
  return OnHandle(handle, required, [&]() -> int {
    CTVLClientOpr* client = handle->connection->Client();
    return client != nullptr ? operation(*client) : TVL_ERR_NOT_CONNECTED;
  });
}

// Runs an operation of directory stores.
template <typename Handle, typename Operation>
int OnDirectory(Handle* handle, std::initializer_list<const void*> required, Operation operation) {
  return OnClient(handle, required, [&](CTVLClientOpr&) -> int {
    CTVLClientSmbOpr* directory = handle->connection->Directory();
    return directory != nullptr ? operation(*directory) : TVL_ERR_NOT_SUPPORTED;
  });
}

// Runs a function without a handle, which returns a Failure.
template <typename Function>
int WithoutHandle(tvlc_error* error, Function function) try {
  static_cast<void>(TakeLastError());
  return Report(function(), error);
} catch (const std::exception&) {
  return Report({TVL_ERR_MEMORY, {}, nullptr}, error);
}

}  // namespace tvl::c

struct tvlc_store {
  std::shared_ptr<tvl::c::Connection> connection;
};

#endif
