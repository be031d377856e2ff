#include "base/pump.h"
#include "platform/async_socket.h"
#include "platform/modules.h"
#include "platform/names.h"
#include "platform/version_resource.h"
#include "support/testing.h"
#include "tcp/peer.h"
#include "versions/executable_file.h"

namespace {

TEST(Names, AreCompleteOrMissing) {
  const auto names = {GetComputerNameA, GetUserNameA};
  for (const auto get : names) {
    char name[128] = "?";
    DWORD size = sizeof name;
    ASSERT_EQ(get(name, &size), 1);
    EXPECT_EQ(size, std::strlen(name));
    EXPECT_NE(size, 0U);
    DWORD too_small = size;  // there is no room for the terminator
    EXPECT_EQ(get(name, &too_small), 0);
    EXPECT_STREQ(name, "");
    EXPECT_EQ(too_small, 0U);
  }
}

TEST(Modules, LoadOrRefuse) {
  const TempFolder folder;
  folder.Make("m");
  fs::copy_file(TVL_MODULE, folder.Host("m/damaged"));
  fs::resize_file(folder.Host("m/damaged"), fs::file_size(TVL_MODULE) / 2);
  EXPECT_EQ(LoadLibraryA(folder.Logical("m/damaged").c_str()), nullptr);
  EXPECT_EQ(LoadLibraryA(folder.Logical("m/none").c_str()), nullptr);
  const HMODULE module = LoadLibraryA(TVL_MODULE);
  ASSERT_NE(module, nullptr);
  EXPECT_NE(GetProcAddress(module, TVL_MODULE_FUNCTION), nullptr);
  EXPECT_EQ(GetProcAddress(module, "NoSuchName"), nullptr);
  EXPECT_EQ(GetProcAddress(nullptr, TVL_MODULE_FUNCTION), nullptr);
  EXPECT_NE(FreeLibrary(module), 0);
}

TEST(Modules, NameTheirFile) {
  char path[260] = "";
  const DWORD length = GetModuleFileNameA(nullptr, path, sizeof path);
  EXPECT_EQ(length, std::strlen(path));
  EXPECT_NE(string(path).find("platform_contract_test"), string::npos) << path;
  EXPECT_EQ(GetModuleFileNameA(nullptr, path, length), 0U);
  EXPECT_STREQ(path, "");
  EXPECT_NE(tvl::OwnModuleFileName(path, sizeof path), 0U);
}

TEST(VersionResource, IsReadFromExecutables) {
  const TempFolder folder;
  for (const bool plus : {false, true}) {
    ExecutableFile program;
    program.plus = plus;
    program.file_version = "1.2.3";
    folder.Write("program", program.Bytes());
    const string path = folder.Logical("program");
    std::vector<char> block(GetFileVersionInfoSizeA(path.c_str(), nullptr));
    ASSERT_FALSE(block.empty());
    ASSERT_NE(GetFileVersionInfoA(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()), 0);
    void* value = nullptr;
    UINT length = 0;
    ASSERT_NE(VerQueryValueA(block.data(), "\\VarFileInfo\\Translation", &value, &length), 0);
    EXPECT_EQ(length, 4U);
    EXPECT_EQ(VerQueryValueA(block.data(), "\\VarFileInfo\\None", &value, &length), 0);
  }
  folder.Write("text", "not an executable");
  EXPECT_EQ(GetFileVersionInfoSizeA(folder.Logical("text").c_str(), nullptr), 0U);
}

// Notes what the hooks report.
class NotedSocket : public CAsyncSocket {
 public:
  string received;
  int connect_code = -1;
  int close_code = -1;

 protected:
  void OnConnect(int code) override { connect_code = code; }
  void OnClose(int code) override { close_code = code; }
  void OnReceive(int /*code*/) override {
    DWORD waiting = 0;
    if (IOCtl(kBytesToRead, &waiting) == 0 || waiting == 0) return;
    string bytes(waiting, 0);
    const int count = Receive(bytes.data(), static_cast<int>(waiting), 0);
    if (count > 0) received.append(bytes, 0, static_cast<std::size_t>(count));
  }
};

TEST(AsyncSocket, TalksToItsPeerAndSeesTheEnd) {
  Server server([](Peer& peer) { peer.Send("re: " + peer.Read(5)); });
  NotedSocket socket;
  ASSERT_NE(socket.Create(0, kStreamSocket, FD_CONNECT | FD_READ | FD_WRITE | FD_CLOSE, nullptr), 0);
  const tvl::SocketWait wait(socket);
  const auto pump_until = [](auto done) {
    while (!done()) {
      tvl::SleepUntilPumpIsDue(-1);
      PumpMessages();
    }
  };
  if (socket.Connect("127.0.0.1", server.Port()) == 0) {
    ASSERT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
    pump_until([&] { return socket.connect_code >= 0; });
    ASSERT_EQ(socket.connect_code, 0);
  }
  EXPECT_EQ(socket.Send("hello", 5, 0), 5);
  pump_until([&] { return socket.close_code >= 0; });
  EXPECT_EQ(socket.received, "re: hello");
  EXPECT_EQ(socket.close_code, 0);
}

TEST(AsyncSocket, RefusesUnknownHost) {
  CAsyncSocket socket;
  ASSERT_NE(socket.Create(0, kStreamSocket, FD_CONNECT, nullptr), 0);
  EXPECT_EQ(socket.Connect("nowhere.test", 1), 0);
  EXPECT_NE(WSAGetLastError(), WSAEWOULDBLOCK);
  EXPECT_EQ(socket.Handle(), INVALID_HANDLE_VALUE);
}

}  // namespace
