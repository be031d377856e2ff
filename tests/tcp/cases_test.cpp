#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tcp/connection.h"
#include "tcp/peer.h"
#include "tcp/script.h"

// Plays the cases of cases/, each twice: with a server that sends its packets whole, and one that dribbles.

namespace {

using std::string;

string Shown(std::string_view bytes) {
  string text;
  for (const char byte : bytes.substr(0, 400)) {
    const bool plain = byte >= ' ' && byte <= '~';
    char hex[8];
    std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned char>(byte));
    text += plain ? string(1, byte) : hex;
  }
  return text + " (" + std::to_string(bytes.size()) + " bytes)";
}

// The server's part of a case.
class Play {
 public:
  Play(const std::vector<Step>& steps, bool dribbles) : steps_(steps), dribbles_(dribbles) {}

  void operator()(Peer& peer) const {
    bool ended = false;
    for (const Step& step : steps_) {
      if (step.IsOnTheWire() && !Do(step, peer)) return;
      ended = ended || (step.verb == "client-packet" && step.bytes.text == "X");
    }
    if (!ended) {
      EXPECT_EQ(peer.ReadPacket(), "X");
    }
    const string rest = peer.ReadRest();
    EXPECT_EQ(rest, "") << "the client sent more: " << Shown(rest);
  }

 private:
  // False when nothing more can follow.
  bool Do(const Step& step, Peer& peer) const {
    if (step.verb == "client") return Expect(step.bytes, step, peer);
    if (step.verb == "client-packet") return Expect(Packet(step.bytes, 4), step, peer);
    if (step.verb == "server") Send(step.bytes.text, peer);
    if (step.verb == "server-packet") Send(Packet(step.bytes, 0).text, peer);
    if (step.verb == "accept") peer.Welcome(std::stoi(step.words.at(0)), std::stoi(step.words.at(1)));
    if (step.verb == "hangup") peer.HangUp();
    return step.verb != "hangup";
  }

  void Send(const string& bytes, const Peer& peer) const {
    dribbles_ ? peer.SendByteByByte(bytes) : peer.Send(bytes);
  }

  static bool Expect(const Bytes& bytes, const Step& step, const Peer& peer) {
    const string got = peer.Read(bytes.text.size());
    const bool good = bytes.Matches(got);
    EXPECT_TRUE(good) << "line " << step.line << ": expected " << Shown(bytes.text) << "\ngot " << Shown(got);
    return good;
  }

  const std::vector<Step>& steps_;
  bool dribbles_;
};

// The application's part of a case.
class Application {
 public:
  Application(const std::vector<Step>& steps, unsigned int port) : port_(port) {
    for (const Step& step : steps) {
      if (step.IsOnTheWire() && step.verb != "accept") continue;
      SCOPED_TRACE("line " + std::to_string(step.line));
      Do(step);
    }
  }

 private:
  void Do(const Step& step) {
    static const std::map<string, void (Application::*)(const Step&)> verbs = {
        {"accept", &Application::Connect},     {"call", &Application::Call},
        {"result", &Application::Check},       {"local", &Application::MakeFile},
        {"local-is", &Application::CheckFile}, {"local-missing", &Application::CheckMissing}};
    const auto verb = verbs.find(step.verb);
    ASSERT_NE(verb, verbs.end()) << step.verb;
    (this->*verb->second)(step);
  }

  void Connect(const Step& /*step*/) { EXPECT_EQ(client_.Connect(port_), 0); }

  void Call(const Step& step) {
    const std::vector<string>& words = step.words;
    const string& what = words.at(0);
    if (what == "open") code_ = client_.Connect(port_, "127.0.0.1", words.at(1), words.at(2));
    if (what == "close") code_ = client_.Close();
    if (what == "lock" || what == "unlock") LockOrUnlock(what == "lock", words.at(1));
    if (what == "get" || what == "put") {
      client_.transferred = std::stoi(words.at(3));
      code_ = what == "get" ? client_.Get(words[1], words[2]) : client_.Put(words[1], words[2]);
    }
  }

  void LockOrUnlock(bool lock, const string& object) {
    lock_ = {};
    const auto operation = lock ? &CTVLClientTcpOpr::Lock : &CTVLClientTcpOpr::Unlock;
    // Rooms of exactly the sizes that the interface names, so that a sanitizer sees a byte too many.
    std::vector<char> computer(64);
    std::vector<char> ip(16);
    std::vector<char> user(65);
    code_ = (static_cast<CTVLClientTcpOpr&>(client_).*operation)(
        Arg(object), &lock_.state, computer.data(), &lock_.instance, &lock_.pid, ip.data(), user.data());
    lock_.computer = computer.data();
    lock_.ip = ip.data();
    lock_.user = user.data();
  }

  [[nodiscard]] string Value(const string& name) {
    const std::map<string, std::function<string()>> values = {
        {"transferred", [this] { return std::to_string(client_.transferred); }},
        {"opened", [this] { return std::to_string(client_.IsOpened()); }},
        {"id", [this] { return std::to_string(client_.InstanceId()); }},
        {"zip", [this] { return std::to_string(client_.ZipOnTransfert()); }},
        {"policy", [this] { return std::to_string(client_.FileCmp()); }},
        {"short", [this] { return string(client_.ShortName()); }},
        {"long", [this] { return string(client_.LongName()); }},
        {"state", [this] { return std::to_string(lock_.state); }},
        {"computer", [this] { return lock_.computer; }},
        {"instance", [this] { return std::to_string(lock_.instance); }},
        {"pid", [this] { return std::to_string(lock_.pid); }},
        {"ip", [this] { return lock_.ip; }},
        {"user", [this] { return lock_.user; }}};
    return values.at(name)();
  }

  void Check(const Step& step) {
    EXPECT_EQ(code_, std::stoi(step.words.at(0)));
    for (std::size_t i = 1; i < step.words.size(); ++i) {
      const string& word = step.words[i];
      const std::size_t equals = word.find('=');
      EXPECT_EQ(Value(word.substr(0, equals)), word.substr(equals + 1)) << word.substr(0, equals);
    }
  }

  static string Name(const Step& step) { return "work/" + step.words.at(0); }

  static time_t Time(const Step& step) { return std::stol(step.words.at(1).substr(1)); }

  void MakeFile(const Step& step) {
    client_.folder.Write(Name(step), step.bytes.text);
    if (step.words.size() < 2) return;
    const timespec times[2] = {{Time(step), 0}, {Time(step), 0}};
    utimensat(AT_FDCWD, client_.folder.Host(Name(step)).c_str(), times, 0);
  }

  void CheckFile(const Step& step) {
    const string found = client_.folder.Read(Name(step));
    EXPECT_EQ(Shown(found), Shown(step.bytes.text));
    EXPECT_TRUE(step.bytes.Matches(found) && client_.folder.Exists(Name(step)));
    struct stat status = {};
    stat(client_.folder.Host(Name(step)).c_str(), &status);
    if (step.words.size() == 1) return;
    const bool now = step.words[1] == "@now";
    const time_t error = status.st_mtim.tv_sec - (now ? time(nullptr) : Time(step));
    EXPECT_LE(std::abs(error), now ? 60 : 0) << error;
  }

  void CheckMissing(const Step& step) { EXPECT_FALSE(client_.folder.Exists(Name(step))); }

  struct LockResult {
    int state = -1;
    string computer;
    int instance = -1;
    int pid = -1;
    string ip;
    string user;
  };

  unsigned int port_;
  Connection client_;
  int code_ = -1;
  LockResult lock_;
};

std::vector<string> CaseFiles() {
  std::vector<string> files;
  for (const auto& entry : std::filesystem::directory_iterator(TVL_TCP_CASES)) {
    if (entry.path().extension() == ".txt") files.push_back(entry.path().stem());
  }
  std::sort(files.begin(), files.end());
  return files;
}

class Case : public testing::TestWithParam<string> {
 protected:
  static void Run(bool dribbles) {
    const std::vector<Step> steps = ReadCase(string(TVL_TCP_CASES) + "/" + GetParam() + ".txt");
    Server server(Play(steps, dribbles));
    const Application application(steps, server.Port());
  }
};

TEST_P(Case, AtOnce) {
  Run(false);
}

TEST_P(Case, ByteByByte) {
  Run(true);
}

INSTANTIATE_TEST_SUITE_P(Tcp, Case, testing::ValuesIn(CaseFiles()),
                         [](const auto& param) { return param.param; });

}  // namespace
