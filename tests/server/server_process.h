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

// A store in its own folder, with its configuration.
struct ServedStore {
  // `zip` compresses transfers. `policy` is the value of FileCompare.
  explicit ServedStore(bool zip = false, const std::string& policy = "HASH",
                       const std::filesystem::path& parent = std::filesystem::temp_directory_path());

  [[nodiscard]] std::string Path(const std::string& name) const { return store.root_host + name; }
  void Write(const std::string& name, const std::string& bytes) const {
    folder.Write("store/" + name, bytes);
  }
  [[nodiscard]] std::string Read(const std::string& name) const { return folder.Read("store/" + name); }

  // Writes a sparse file of `size` zeros.
  void WriteZeros(const std::string& name, std::uintmax_t size) const;

  // Returns every file below the root except in the temporary folder, and every part of a put anywhere.
  [[nodiscard]] std::vector<std::string> Files() const;

  TempFolder folder;
  Store store;
};

// A listening socket that a server is passed, and its name there.
struct PassedSocket {
  int number = -1;  // none
  std::string name = "listen";
};

// A running tvlserver. It is killed with this object if it is still running.
class ServerProcess {
 public:
  // `before` contains shell commands to run before the server.
  // `passed` replaces the address to listen on, unless it has another name.
  explicit ServerProcess(const ServedStore& store, const std::vector<std::string>& options = {},
                         const std::string& before = ":", const PassedSocket& passed = {});

  [[nodiscard]] unsigned short Port() const { return port_; }
  [[nodiscard]] int Pid() const { return pid_; }

  // Connects a client, which is accepted.
  [[nodiscard]] RawClient Enter(const ClientNames& names = {}, const char* from = "127.0.0.1") const;

  void Signal(int signal) const { process_.Signal(signal); }

  // Waits for the end. Returns the exit code, or 128 plus the signal that ended it.
  int Wait() { return process_.Finish().exit; }

  [[nodiscard]] std::string Log() const { return folder_.Read("log"); }
  [[nodiscard]] bool HasPortFile() const { return std::filesystem::exists(folder_.Host("log.port")); }

  // Waits until the log contains the text. Returns false if it never does.
  [[nodiscard]] bool WaitForLog(const std::string& text) const;

 private:
  TempFolder folder_;
  Process process_;
  unsigned short port_ = 0;
  int pid_ = 0;
};

#endif
