#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <optional>

#include "server/server_process.h"
#include "tcp/script.h"

// Plays the conversations in cases/ to a server, whose answers must match exactly.

namespace {

using std::string;

class Player {
 public:
  void Play(const Step& step) {
    const std::vector<string>& words = step.words;
    if (step.verb == "serve") {
      store_.emplace(words.at(0) == "1", words.at(1));
      server_.emplace(*store_, std::vector<string>(words.begin() + 2, words.end()));
    }
    if (step.verb == "serve" || step.verb == "connect") {
      clients_.emplace_back(server_->Port());  // the others stay as they are until the case ends
    } else if (step.verb == "enter") {
      ClientNames names;
      if (!words.empty()) names = {words.at(1), words.at(2), words.at(3), words.at(0)};
      clients_.back().Send(RawClient::HandshakeBytes(names));
      EXPECT_TRUE(clients_.back().Receive().starts_with(kAccepted));
    } else if (step.verb == "client" || step.verb == "client-packet") {
      const string& text = step.bytes.text;
      clients_.back().Send(step.verb == "client" ? text : RawClient::PacketBytes(text));
    } else if (step.verb == "client-ends") {
      clients_.back().CloseWriting();
    } else if (step.verb == "server" || step.verb == "server-packet") {
      Expect(step.verb == "server" ? step.bytes : Packet(Filled(step.bytes), 0));
    } else if (step.verb == "server-ends") {
      EXPECT_TRUE(clients_.back().IsEnded());
    } else if (step.verb == "store") {
      MakeFile(words.at(0), words.at(1), std::stol(words.at(2).substr(1)));
    } else if (step.verb == "store-is") {
      EXPECT_EQ(store_->Read(words.at(0)), words.at(1));
    } else if (step.verb == "store-missing") {
      EXPECT_FALSE(std::filesystem::exists(store_->Path(words.at(0))));
    } else {
      FAIL() << "no such line: " << step.verb;
    }
  }

 private:
  [[nodiscard]] Bytes Filled(const Bytes& bytes) const {
    const std::pair<string, string> values[] = {{"{pid}", std::to_string(server_->Pid())},
                                                {"{server}", kServer}};
    for (const auto& [name, value] : values) {
      string text = bytes.text;
      const std::size_t at = text.find(name);
      if (at == string::npos) continue;
      Bytes filled;
      filled.Add(text.replace(at, name.size(), value));
      return filled;
    }
    return bytes;
  }

  void Expect(const Bytes& bytes) const {
    const string came = clients_.back().ReceiveBytes(bytes.text.size());
    EXPECT_TRUE(bytes.Matches(came)) << "came: " << testing::PrintToString(came);
  }

  void MakeFile(const string& name, const string& text, time_t time) const {
    store_->Write(name, text);
    const timespec times[2] = {{time, 0}, {time, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, store_->Path(name).c_str(), times, 0), 0);
  }

  std::optional<ServedStore> store_;
  std::optional<ServerProcess> server_;
  std::vector<RawClient> clients_;
};

TEST(ServerCases, AreAnsweredExactly) {
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
