#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <memory>

#include "server/raw_client.h"
#include "server/server_process.h"
#include "tcp/script.h"

// Plays the conversations in cases/ to a server, which must answer them to the byte.

namespace {

using std::string;

constexpr std::string_view kPid = "{pid}";

// Puts the server's process id where the case speaks of it.
Bytes WithPid(const Bytes& bytes, pid_t pid) {
  const std::size_t at = bytes.text.find(kPid);
  if (at == string::npos) return bytes;
  Bytes filled;
  filled.Add(bytes.text.substr(0, at) + std::to_string(pid) + bytes.text.substr(at + kPid.size()));
  return filled;
}

class Player {
 public:
  void Play(const Step& step) {
    const auto& players = Players();
    const auto player = players.find(step.verb);
    ASSERT_NE(player, players.end()) << "no such line: " << step.verb;
    (this->*player->second)(step);
  }

 private:
  using Line = void (Player::*)(const Step&);

  static const std::map<string, Line>& Players() {
    static const std::map<string, Line> players = {
        {"serve", &Player::Serve},
        {"connect", &Player::Connect},
        {"enter", &Player::Enter},
        {"enter-as", &Player::EnterAs},
        {"client", &Player::Client},
        {"client-packet", &Player::ClientPacket},
        {"server", &Player::Server},
        {"server-packet", &Player::ServerPacket},
        {"server-ends", &Player::ServerEnds},
        {"client-ends", &Player::ClientEnds},
        {"store", &Player::MakeFile},
        {"store-is", &Player::ExpectFile},
        {"store-missing", &Player::ExpectNoFile},
    };
    return players;
  }

  void Serve(const Step& step) {
    store_ = std::make_unique<ServedStore>(step.words.at(0) == "1", step.words.at(1));
    server_ = std::make_unique<ServerProcess>(*store_,
                                              std::vector<string>(step.words.begin() + 2, step.words.end()));
    Connect(step);
  }

  // The others stay as they are until the case ends.
  void Connect(const Step& /*step*/) {
    clients_.push_back(std::make_unique<RawClient>(server_->Port()));
    client_ = clients_.back().get();
  }

  void Enter(const Step& /*step*/) {
    client_->Send(RawClient::HandshakeBytes({}));
    ASSERT_TRUE(client_->Receive().value_or("").starts_with("TVL\t0\t1\t"));
  }

  void EnterAs(const Step& step) {
    client_->Send(
        RawClient::HandshakeBytes({step.words.at(0), step.words.at(1), step.words.at(2), step.words.at(3)}));
    ASSERT_TRUE(client_->Receive().has_value());
  }

  void Client(const Step& step) { client_->Send(step.bytes.text); }
  void ClientPacket(const Step& step) { client_->SendPacket(step.bytes.text); }

  void Server(const Step& step) { Expect(step.bytes); }
  void ServerPacket(const Step& step) { Expect(Packet(WithPid(step.bytes, server_->Pid()), 0)); }

  void Expect(const Bytes& bytes) {
    const string came = client_->ReceiveBytes(bytes.text.size());
    EXPECT_TRUE(bytes.Matches(came)) << "came: " << testing::PrintToString(came);
  }

  void ServerEnds(const Step& /*step*/) { EXPECT_TRUE(client_->IsEnded()); }
  void ClientEnds(const Step& /*step*/) { client_->CloseWriting(); }

  void MakeFile(const Step& step) {
    store_->Write(step.words.at(0), step.words.at(1));
    const timespec time = {std::stol(step.words.at(2).substr(1)), 0};
    const timespec times[2] = {time, time};
    ASSERT_EQ(utimensat(AT_FDCWD, store_->Path(step.words.at(0)).c_str(), times, 0), 0);
  }

  void ExpectFile(const Step& step) { EXPECT_EQ(store_->Read(step.words.at(0)), step.words.at(1)); }
  void ExpectNoFile(const Step& step) {
    EXPECT_FALSE(std::filesystem::exists(store_->Path(step.words.at(0))));
  }

  std::unique_ptr<ServedStore> store_;
  std::unique_ptr<ServerProcess> server_;
  std::vector<std::unique_ptr<RawClient>> clients_;
  RawClient* client_ = nullptr;
};

TEST(ServerCases, AreAnsweredToTheByte) {
  int cases = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TVL_SERVER_CASES)) {
    if (entry.path().extension() != ".txt") continue;
    ++cases;
    Player player;
    for (const Step& step : ReadCase(entry.path().string())) {
      SCOPED_TRACE(entry.path().filename().string() + ":" + std::to_string(step.line));
      ASSERT_NO_THROW(player.Play(step));
      if (HasFailure()) break;
    }
  }
  EXPECT_GT(cases, 20);
}

}  // namespace
