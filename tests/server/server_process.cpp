#include "server/server_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

ServedStore::ServedStore(bool zip, const std::string& policy, const std::filesystem::path& parent)
    : folder(parent), store(folder.Host()) {
  store.Make();
  std::ofstream(Path("tvl.ini")) << "[TavolisFileSystem]\nDocumentRoot=" << store.rootHost
                                 << "\nTmpDir=" << store.rootHost << "tmp\nZipOnTransfert=" << (zip ? 1 : 0)
                                 << "\nFileCompare=" << policy << "\nShortName=short\nLongName=long\n";
}

void ServedStore::Write(const std::string& name, const std::string& bytes) const {
  folder.Write("store/" + name, bytes);
}

std::string ServedStore::Read(const std::string& name) const {
  return folder.Read("store/" + name);
}

std::vector<std::string> ServedStore::Files() const {
  std::vector<std::string> names = folder.Tree("store");
  std::erase_if(names, [](const std::string& name) {
    return name == "tvl.ini" || (name.starts_with("tmp") && !name.ends_with(".tvlpart"));
  });
  return names;
}

ServerProcess::ServerProcess(const ServedStore& store, const std::vector<std::string>& options,
                             unsigned long open_files) {
  Start(store, options, open_files);
  if (WaitForLog("listen")) {
    TakePort();
    return;
  }
  Wait();
  reader_.join();
  throw std::runtime_error("the server does not listen");
}

void ServerProcess::Start(const ServedStore& store, const std::vector<std::string>& options,
                          unsigned long open_files) {
  std::vector<std::string> words = {TVL_SERVER_PROGRAM, "--config", store.Path("tvl.ini"), "--listen",
                                    "127.0.0.1:0"};
  words.insert(words.end(), options.begin(), options.end());
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  int log[2];
  if (pipe2(log, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  pid_ = fork();
  if (pid_ == 0) {
    dup2(log[1], STDERR_FILENO);
    const rlimit limit = {open_files, open_files};
    if (open_files > 0 && setrlimit(RLIMIT_NOFILE, &limit) != 0) _exit(126);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(log[1]);
  reader_ = std::thread([this, log] { ReadLog(log[0]); });
}

void ServerProcess::TakePort() {
  const std::lock_guard<std::mutex> guard(mutex_);
  for (const std::string& line : lines_) {
    const std::size_t colon = line.rfind(':');
    if (line.find("listen") != std::string::npos)
      port_ = static_cast<unsigned short>(std::stoi(line.substr(colon + 1)));
  }
}

ServerProcess::~ServerProcess() {
  if (pid_ > 0) {
    Signal(SIGKILL);
    Wait();
  }
  reader_.join();
}

void ServerProcess::Signal(int signal) const {
  kill(pid_, signal);
}

int ServerProcess::Wait() {
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int ServerProcess::CountLines(const std::string& text) const {
  return static_cast<int>(std::count_if(lines_.begin(), lines_.end(), [&](const std::string& line) {
    return line.find(text) != std::string::npos;
  }));
}

bool ServerProcess::HasLogged(const std::string& text) {
  const std::lock_guard<std::mutex> guard(mutex_);
  return CountLines(text) > 0;
}

bool ServerProcess::WaitForLog(const std::string& text, int count) {
  std::unique_lock<std::mutex> lock(mutex_);
  grown_.wait(lock, [&] { return ended_ || CountLines(text) >= count; });
  return CountLines(text) >= count;
}

void ServerProcess::ReadLog(int log) {
  FILE* const stream = fdopen(log, "r");
  char line[4096];
  while (std::fgets(line, sizeof line, stream) != nullptr) {
    const std::lock_guard<std::mutex> guard(mutex_);
    lines_.emplace_back(line);
    grown_.notify_all();
  }
  std::fclose(stream);
  const std::lock_guard<std::mutex> guard(mutex_);
  ended_ = true;
  grown_.notify_all();
}
