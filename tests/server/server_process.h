#ifndef TVL_TESTS_SERVER_SERVER_PROCESS_H
#define TVL_TESTS_SERVER_SERVER_PROCESS_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "server/raw_client.h"
#include "support/process.h"
#include "support/store.h"
#include "support/temp_folder.h"

// A store in a folder of its own, and what its configuration says.
struct ServedStore {
  // `zip`: files travel compressed. `policy`: value of FileCompare.
  explicit ServedStore(bool zip = false, const std::string& policy = "HASH",
                       const std::filesystem::path& parent = std::filesystem::temp_directory_path());

  [[nodiscard]] std::string Path(const std::string& name) const { return store.rootHost + name; }
  void Write(const std::string& name, const std::string& bytes) const {
    folder.Write("store/" + name, bytes);
  }
  [[nodiscard]] std::string Read(const std::string& name) const { return folder.Read("store/" + name); }

  // A file of that many zeros, which takes no room.
  void WriteZeros(const std::string& name, std::uintmax_t size) const;

  // Every file below the root outside the temporary folder, and every part of a put wherever it lies.
  [[nodiscard]] std::vector<std::string> Files() const;

  TempFolder folder;
  Store store;
};

// A running tvlserver of a store. Killed with its object if it still runs.
class ServerProcess {
 public:
  // `before`: what a shell does before it becomes the server.
  explicit ServerProcess(const ServedStore& store, const std::vector<std::string>& options = {},
                         const std::string& before = ":");

  [[nodiscard]] unsigned short Port() const { return port_; }
  [[nodiscard]] int Pid() const { return pid_; }

  // Connected and accepted.
  [[nodiscard]] RawClient Enter(const ClientNames& names = {}, const char* from = "127.0.0.1") const;

  void Signal(int signal) const { process_.Signal(signal); }

  // Waits for the end: the exit code, or 128 and the signal that ended it.
  int Wait() { return process_.Finish().exit; }

  [[nodiscard]] std::string Log() const { return folder_.Read("log"); }
  [[nodiscard]] bool HasPortFile() const { return std::filesystem::exists(folder_.Host("log.port")); }

  // Waits until the log has the text; false if it never does.
  [[nodiscard]] bool WaitForLog(const std::string& text) const;

 private:
  TempFolder folder_;
  Process process_;
  unsigned short port_ = 0;
  int pid_ = 0;
};

#endif
