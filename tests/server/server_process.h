#ifndef TVL_TESTS_SERVER_SERVER_PROCESS_H
#define TVL_TESTS_SERVER_SERVER_PROCESS_H

#include <sys/types.h>

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/store.h"
#include "support/temp_folder.h"

// A store in a folder of its own, and what its configuration says.
struct ServedStore {
  // `zip`: files travel compressed. `policy`: value of FileCompare.
  explicit ServedStore(bool zip = false, const std::string& policy = "HASH",
                       const std::filesystem::path& parent = std::filesystem::temp_directory_path());

  [[nodiscard]] std::string Path(const std::string& name) const { return store.rootHost + name; }
  void Write(const std::string& name, const std::string& bytes) const;
  [[nodiscard]] std::string Read(const std::string& name) const;

  // Every file below the root outside the temporary folder, and every part of a put wherever it lies.
  [[nodiscard]] std::vector<std::string> Files() const;

  TempFolder folder;
  Store store;
};

// A running tvlserver of a store. Killed with its object if it still runs.
class ServerProcess {
 public:
  // `open_files`: how many it may have open; 0: as many as the test.
  explicit ServerProcess(const ServedStore& store, const std::vector<std::string>& options = {},
                         unsigned long open_files = 0);
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  [[nodiscard]] unsigned short Port() const { return port_; }
  [[nodiscard]] pid_t Pid() const { return pid_; }

  void Signal(int signal) const;

  // Waits for the end: the exit code, or minus the signal that ended it.
  int Wait();

  [[nodiscard]] bool HasLogged(const std::string& text);

  // Waits until the log has that many lines with the text; false if the server ended before.
  bool WaitForLog(const std::string& text, int count = 1);

 private:
  void Start(const ServedStore& store, const std::vector<std::string>& options, unsigned long open_files);
  void TakePort();
  void ReadLog(int log);
  [[nodiscard]] int CountLines(const std::string& text) const;

  pid_t pid_ = -1;
  unsigned short port_ = 0;
  std::thread reader_;
  std::mutex mutex_;
  std::condition_variable grown_;
  std::vector<std::string> lines_;
  bool ended_ = false;
};

#endif
