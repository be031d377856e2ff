#include <cstdlib>
#include <ctime>
#include <map>
#include <set>

#include <tvlclient/tvl.h>

#include "tcp/connection.h"
#include "tcp/peer.h"
#include "tcp/script.h"

// Plays the cases in cases/, each twice: with a server that sends complete packets, and with one that sends
// byte by byte.

namespace {

string Shown(const string& bytes) {
  return testing::PrintToString(bytes.substr(0, 400)) + ", " + std::to_string(bytes.size()) + " bytes";
}

// That the server grants in an `accept`.
int Window(const Step& accept) {
  return accept.words.size() > 2 ? std::stoi(accept.words[2]) : 0;
}

// The server's part of a case.
void Play(const std::vector<Step>& steps, bool dribbles, Peer& peer) {
  const auto send = [&](const string& bytes) {
    const std::size_t pace = dribbles ? 1 : bytes.size();
    for (std::size_t at = 0; at < bytes.size(); at += pace) peer.Send(bytes.substr(at, pace));
  };
  bool ended = false;
  for (const Step& step : steps) {
    if (step.verb == "accept")
      peer.Welcome(std::stoi(step.words.at(0)), std::stoi(step.words.at(1)), Window(step));
    if (step.verb == "server") send(step.bytes.text);
    if (step.verb == "server-packet") send(Packet(step.bytes, 0).text);
    if (step.verb == "hangup") return;
    if (step.verb != "client" && step.verb != "client-packet") continue;
    const Bytes expected = step.verb == "client" ? step.bytes : Packet(step.bytes, 4);
    const string got = peer.Read(expected.text.size());
    ASSERT_TRUE(expected.Matches(got))
        << "line " << step.line << ": expected " << Shown(expected.text) << "\ngot " << Shown(got);
    ended = ended || step.bytes.text == "X";
  }
  if (!ended) {
    EXPECT_EQ(peer.ReadPacket(), "X");
  }
  EXPECT_TRUE(peer.AtEnd());
}

// The application's part of a case.
class Application {
 public:
  explicit Application(unsigned int port) : port_(port) {}
  ~Application() { TVLSetTransferWindow(0); }
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  void Do(const Step& step) {
    static const std::set<string> verbs = {"accept",        "announce", "call",   "client",
                                           "client-packet", "hangup",   "local",  "local-is",
                                           "local-missing", "result",   "server", "server-packet"};
    ASSERT_TRUE(verbs.contains(step.verb)) << step.verb;
    if (step.verb == "announce") TVLSetTransferWindow(static_cast<unsigned int>(std::stoi(step.words.at(0))));
    if (step.verb == "accept") code_ = client_.Connect(port_);
    if (step.verb == "call") code_ = Call(step.words);
    if (step.verb == "result") Check(step.words);
    if (step.verb == "local") MakeFile(step);
    if (step.verb == "local-is" || step.verb == "local-missing") CheckFile(step);
  }

 private:
  int Call(const std::vector<string>& words) {
    const string& what = words.at(0);
    if (what == "close") return client_.Close();
    if (what == "open") return client_.Connect(port_, "127.0.0.1", words.at(1), words.at(2));
    if (what == "lock" || what == "unlock") return client_.LockOrUnlock(what == "lock", words.at(1));
    client_.transferred = std::stoi(words.at(3));
    return what == "get" ? client_.Get(words[1], words[2]) : client_.Put(words[1], words[2]);
  }

  void Check(const std::vector<string>& words) {
    const std::map<string, string> values = {{"transferred", std::to_string(client_.transferred)},
                                             {"opened", std::to_string(client_.IsOpened())},
                                             {"id", std::to_string(client_.InstanceId())},
                                             {"zip", std::to_string(client_.ZipOnTransfert())},
                                             {"policy", std::to_string(client_.FileCmp())},
                                             {"short", client_.ShortName()},
                                             {"long", client_.LongName()},
                                             {"state", std::to_string(client_.lock_state)},
                                             {"computer", client_.computer.data()},
                                             {"instance", std::to_string(client_.instance)},
                                             {"pid", std::to_string(client_.pid)},
                                             {"ip", client_.ip.data()},
                                             {"user", client_.user.data()}};
    EXPECT_EQ(code_, std::stoi(words.at(0)));
    for (std::size_t i = 1; i < words.size(); ++i) {
      const std::size_t equals = words[i].find('=');
      const string name = words[i].substr(0, equals);
      EXPECT_EQ(values.at(name), words[i].substr(equals + 1)) << name;
    }
  }

  static string Name(const Step& step) { return "work/" + step.words.at(0); }

  static time_t Time(const Step& step) { return static_cast<time_t>(std::stoll(step.words.at(1).substr(1))); }

  void MakeFile(const Step& step) {
    client_.folder.Write(Name(step), step.bytes.text);
    if (step.words.size() < 2) return;
    client_.folder.SetTimes(Name(step), {Time(step), 0}, {Time(step), 0});
  }

  void CheckFile(const Step& step) {
    const string found = client_.folder.Read(Name(step));
    EXPECT_TRUE(step.bytes.Matches(found)) << Shown(found);
    EXPECT_EQ(client_.folder.Exists(Name(step)), step.verb == "local-is");
    if (step.words.size() == 1) return;
    const bool now = step.words[1] == "@now";
    const time_t error =
        client_.folder.Status(Name(step)).st_mtim.tv_sec - (now ? time(nullptr) : Time(step));
    EXPECT_LE(std::abs(error), now ? 60 : 0) << error;
  }

  unsigned int port_;
  Connection client_;
  int code_ = -1;
};

TEST(TcpCases, FollowTheirScripts) {
  int cases = 0;
  for (const auto& entry : fs::directory_iterator(TVL_TCP_CASES)) {
    if (entry.path().extension() != ".txt") continue;
    ++cases;
    const std::vector<Step> steps = ReadCase(entry.path().string());
    for (const bool dribbles : {false, true}) {
      const string name = entry.path().filename().string() + (dribbles ? ", byte by byte" : "");
      Server server([&](Peer& peer) {
        SCOPED_TRACE(name);
        Play(steps, dribbles, peer);
      });
      Application application(server.Port());
      for (const Step& step : steps) {
        SCOPED_TRACE(name + ", line " + std::to_string(step.line));
        application.Do(step);
      }
    }
  }
  EXPECT_GT(cases, 15);
}

}  // namespace
