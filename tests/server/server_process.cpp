#include "server/server_process.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

template <typename Condition>
bool WaitFor(const Condition& condition) {
  const auto patience = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > patience) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// Logs to a file, because a pipe that nobody reads would fill up and block the server.
ProcessStart Start(const std::string& log, std::string before, const ServedStore& store,
                   std::vector<std::string> options, const PassedSocket& passed) {
  if (passed.number < 0 || passed.name != "listen") {
    options.insert(options.begin(), {"--listen", "127.0.0.1:0"});
  }
  if (passed.number >= 0) before += "; export LISTEN_PID=$$ LISTEN_FDS=1 LISTEN_FDNAMES=" + passed.name;
  ProcessStart start = {{"/bin/sh", "-c", "exec 2>\"$0\"; echo $$ >&2; " + before + "; exec \"$@\"", log,
                         TVL_SERVER_PROGRAM, "--config", store.Path("tvl.ini"), "--port-file",
                         log + ".port"}};
  start.command.insert(start.command.end(), options.begin(), options.end());
  start.passed = passed.number;
  return start;
}

}  // namespace

ServedStore::ServedStore(bool zip, const std::string& policy, const std::filesystem::path& parent)
    : folder(parent), store(folder.Host()) {
  store.Make();
  std::ofstream(Path("tvl.ini")) << "[TavolisFileSystem]\nDocumentRoot=" << store.root_host
                                 << "\nTmpDir=" << store.root_host << "tmp\nZipOnTransfert=" << (zip ? 1 : 0)
                                 << "\nFileCompare=" << policy << "\nShortName=short\nLongName=long\n";
}

void ServedStore::WriteZeros(const std::string& name, std::uintmax_t size) const {
  Write(name, "");
  std::filesystem::resize_file(Path(name), size);
}

std::vector<std::string> ServedStore::Files() const {
  std::vector<std::string> names = folder.Tree("store");
  std::erase_if(names, [](const std::string& name) {
    return name == "tvl.ini" || (name.starts_with("tmp") && !name.ends_with(".tvlpart"));
  });
  return names;
}

ServerProcess::ServerProcess(const ServedStore& store, const std::vector<std::string>& options,
                             const std::string& before, const PassedSocket& passed)
    : process_(Start(folder_.Host("log"), before, store, options, passed)) {
  const auto written = [this] { return !folder_.Read("log.port").empty(); };
  if (!WaitFor(written)) throw std::runtime_error("the server does not listen: " + Log());
  pid_ = std::stoi(Log());
  port_ = static_cast<unsigned short>(std::stoi(folder_.Read("log.port")));
}

RawClient ServerProcess::Enter(const ClientNames& names, const char* from) const {
  RawClient client(port_, from);
  client.Send(RawClient::HandshakeBytes(names));
  if (!client.Receive().starts_with(kAccepted)) throw std::runtime_error("refused");
  return client;
}

bool ServerProcess::WaitForLog(const std::string& text) const {
  return WaitFor([&] { return Log().find(text) != std::string::npos; });
}
