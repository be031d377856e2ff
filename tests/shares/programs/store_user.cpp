// A client of a store for the shares suite, written against the installed headers. Prints a line for each
// result that the library reports, as soon as it does.
//
// clang-format off
//     store_user contend CONFIG NAME SECONDS HOST PORT   takes turns under the lock "turn", and writes a row in each
//     store_user put CONFIG WORK NAME FIRST              puts files, numbered from FIRST, until it is killed
//     store_user rows CONFIG NAME                        writes rows until it is killed
//     store_user values CONFIG NAME                      sets values of the environment until it is killed
//     store_user turns CONFIG COUNT                      locks and unlocks COUNT times
//     store_user reads CONFIG COUNT                      reads one row by its key COUNT times
//     store_user list CONFIG                             prints the keys of table "turns"
// clang-format on

#include <arpa/inet.h>
#include <dlfcn.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <tvlclient/tvlclient.h>

namespace {

using Clock = std::chrono::steady_clock;
using Arguments = std::vector<std::string>;

constexpr int kRecordLength = 32;

void Say(const std::string& line) {
  std::puts(line.c_str());
  std::fflush(stdout);
}

// An open store. Exits the program if it cannot be opened.
class Store {
 public:
  Store(std::string config, const std::string& work) {
    char folder[260] = {};
    work.copy(folder, sizeof folder - 1);
    std::string client = "user";
    if (const int code = client_.Open(folder, config.data(), client.data()))
      throw std::runtime_error("open: " + std::to_string(code));
  }

  CTVLClientSmbOpr& Client() { return client_; }

 private:
  CTVLClientSmbOpr client_;
};

// Detects two owners at the same time, independently of the share.
class Witness {
 public:
  Witness(const std::string& host, int port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(port));
    inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    if (connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error("no witness");
  }
  ~Witness() { close(socket_); }
  Witness(const Witness&) = delete;
  Witness& operator=(const Witness&) = delete;

  // Returns true if nobody else is inside.
  bool Enter() { return Ask('i') == 'k'; }
  void Leave() { Ask('o'); }

 private:
  char Ask(char what) const {
    char answer = 'X';
    if (send(socket_, &what, 1, MSG_NOSIGNAL) != 1 || recv(socket_, &answer, 1, 0) != 1)
      throw std::runtime_error("the witness is gone");
    return answer;
  }

  int socket_;
};

int Ask(CTVLClientSmbOpr& client, bool lock) {
  char object[] = "turn", computer[64] = {}, address[16] = {}, user[65] = {};
  int state = -1, instance = 0, pid = 0;
  const int code = lock ? client.Lock(object, &state, computer, &instance, &pid, address, user)
                        : client.Unlock(object, &state, computer, &instance, &pid, address, user);
  return code == TVL_OK ? state : -code;
}

std::string Key(const std::string& name, int number) {
  char text[33];
  std::snprintf(text, sizeof text, "%.16s-%06d", name.c_str(), number);
  return text;
}

// Returns why the table engine has refused something last; the library's codes say less.
std::string EngineError() {
  void* const engine = dlopen("/opt/tvl/lib/vbctree.so", RTLD_LAZY | RTLD_NOLOAD);
  auto* const text =
      engine == nullptr ? nullptr : reinterpret_cast<const char* (*)()>(dlsym(engine, "GetLastErrorText"));
  return text == nullptr ? "unknown" : text();
}

bool WriteRow(CTVLCtreeRs& rows, const std::string& key) {
  char record[kRecordLength];
  std::memset(record, 'r', sizeof record);
  rows.MakeEmpty();
  return rows.AddNew(key.c_str(), nullptr, record) != 0 && rows.WriteTheBlock() == TVL_OK;
}

void OpenTurns(CTVLCtreeRs& rows) {
  char table[] = "turns.dat";
  for (const auto end = Clock::now() + std::chrono::seconds(30);;) {
    const int code = rows.Open(table);
    if (code == TVL_OK) return;
    if (Clock::now() > end) throw std::runtime_error("open table: " + std::to_string(code));
  }
}

struct Turns {
  int turns = 0, doubles = 0, nobody = 0, kept = 0, refused_rows = 0;
  double longest = 0;
};

// Takes one turn under the lock, from the first check by the witness to the release of the lock.
void TakeTurn(CTVLClientSmbOpr& client, CTVLCtreeRs& rows, Witness& witness, const std::string& name,
              Turns& counts) {
  if (!witness.Enter()) counts.doubles++;
  const std::string key = Key(name, counts.turns++);
  if (WriteRow(rows, key)) {
    Say("row " + key);
  } else {
    counts.refused_rows++;
    Say("refused " + key + ": " + EngineError());
  }
  witness.Leave();
  if (Ask(client, false) == 1) counts.kept++;
}

int Contend(const Arguments& words) {
  Store store(words[0], "");
  CTVLCtreeRs rows(&store.Client());
  OpenTurns(rows);
  Witness witness(words[3], std::stoi(words[4]));
  Turns counts;
  Say("ready");
  const auto end = Clock::now() + std::chrono::seconds(std::stoi(words[2]));
  for (auto began = Clock::now(); began < end; began = Clock::now()) {
    const int state = Ask(store.Client(), true);
    counts.longest = std::max(counts.longest, std::chrono::duration<double>(Clock::now() - began).count());
    if (state == 1) {
      TakeTurn(store.Client(), rows, witness, words[1], counts);
    } else {
      if (state <= 0) counts.nobody++;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
  std::printf(
      "total {\"name\": \"%s\", \"turns\": %d, \"doubles\": %d, \"nobody\": %d, \"kept\": %d, \"refused\": "
      "%d, "
      "\"longest\": %.2f}\n",
      words[1].c_str(), counts.turns, counts.doubles, counts.nobody, counts.kept, counts.refused_rows,
      counts.longest);
  return 0;
}

// Returns contents of 1 to 24 KiB that depend on the name and number only.
std::string Contents(const std::string& name, int number) {
  std::string text;
  for (int line = 0; text.size() < 1024U * static_cast<unsigned>(1 + number % 24); line++)
    text += name + " " + std::to_string(number) + " " + std::to_string(line) + "\n";
  return text;
}

int PutFiles(const Arguments& words) {
  Store store(words[0], words[1]);
  for (int number = std::stoi(words[3]);; number++) {
    std::string name = Key(words[2], number % 400);  // so that some puts create and some replace
    std::ofstream(words[1] + "/" + name) << Contents(words[2], number);
    int transferred = 1;
    if (store.Client().PutRemote(name.data(), name.data(), &transferred) == TVL_OK)
      Say("put " + name + " " + std::to_string(number));
  }
}

int WriteRows(const Arguments& words) {
  Store store(words[0], "");
  CTVLCtreeRs rows(&store.Client());
  OpenTurns(rows);
  for (int number = 0;; number++) {
    const std::string key = Key(words[1], number);
    if (WriteRow(rows, key)) Say("row " + key);
  }
}

int SetValues(const Arguments& words) {
  Store store(words[0], "");
  for (int number = 0;; number++) {
    const std::string value = std::to_string(number);
    if (store.Client().PutEnviron(words[1].c_str(), value.c_str()) == TVL_OK)
      Say("value " + words[1] + " " + value);
  }
}

int TurnAround(const Arguments& words) {
  Store store(words[0], "");
  for (int left = std::stoi(words[1]); left > 0; left--)
    if (Ask(store.Client(), true) != 1 || Ask(store.Client(), false) != 0) throw std::runtime_error("turn");
  return 0;
}

int ReadKeys(const Arguments& words) {
  Store store(words[0], "");
  CTVLCtreeRs rows(&store.Client());
  OpenTurns(rows);
  for (int left = std::stoi(words[1]); left > 0; left--) {
    std::string key = Key("alpha", left);
    if (rows.ReadKeyPrefiz(key.data()) == 0) throw std::runtime_error("read");
  }
  return 0;
}

int List(const Arguments& words) {
  Store store(words[0], "");
  CTVLCtreeRs rows(&store.Client());
  OpenTurns(rows);
  char everyone[] = "alpha\001beta\001server\001power";
  if (rows.ReadKeyPrefiz(everyone) == 0) throw std::runtime_error("the rows cannot be read");
  for (rows.Rewind(); rows.Next() != 0;) {
    const std::string key = rows.Key1(-1);
    Say(key.substr(0, key.find_last_not_of(' ') + 1));
  }
  return 0;
}

struct Verb {
  std::size_t arguments;
  std::function<int(const Arguments&)> run;
};

const std::map<std::string, Verb> kVerbs = {
    {"contend", {5, Contend}},  {"put", {4, PutFiles}},     {"rows", {2, WriteRows}},
    {"values", {2, SetValues}}, {"turns", {2, TurnAround}}, {"reads", {2, ReadKeys}},
    {"list", {1, List}},
};

}  // namespace

int main(int count, char** values) {
  const Arguments words(values + 1, values + count);
  const auto verb = words.empty() ? kVerbs.end() : kVerbs.find(words[0]);
  if (verb == kVerbs.end() || words.size() != verb->second.arguments + 1) return 2;
  try {
    return verb->second.run(Arguments(words.begin() + 1, words.end()));
  } catch (const std::exception& failure) {
    Say(std::string("failed ") + failure.what());
    return 1;
  }
}
