#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <string>

#include "e2e/played_server.h"

// How `tvl` handles the answers, or missing answers, of a server or a store.

namespace {

using TvlConnection = TvlTest;

TEST_F(TvlConnection, EveryRefusalHasItsTextAndExitCode) {
  folder.Write("work/a", "a");
  folder.Write("work/tree/a", "a");
  folder.Make("work/tree/empty");
  const struct {
    Words replies;
    Words command;
    int exit;
    const char* output;
  } rows[] = {
      {{"TVL\t10\taddress"}, {"info"}, 7, "does not admit clients from this address (code 10)\n"},
      {{"TVL\t10\ttag"}, {"info"}, 7, "does not accept this client's tag (code 10)\n"},
      {{"TVL\t10\tcertificate"}, {"info"}, 7, "does not accept this client's certificate (code 10)\n"},
      {{"TVL\t10\tfull"}, {"info"}, 5, "the server is full"},
      {{"TVL\t10"}, {"info"}, 5, "the server refused this client"},
      {{"TVL\t10\t\x1B[2J"}, {"info"}, 5, "refused by the server: ?[2J (code 10)\n"},
      {{"TVL\t77"}, {"info"}, 5, "failed (code 77)\n"},
      {{kAccepted, "20\tright"},
       {"get", "b"},
       7,
       "get b: the server does not allow this client to do that (code 20)\n"},
      {{kAccepted, "20\tright"},
       {"put", "a"},
       7,
       "put a: the server does not allow this client to do that (code 20)\n"},
      {{kAccepted, "0", "20\tright"}, {"put", "a"}, 7, "not allow this client to do that (code 20)\n"},
      {{kAccepted, "20"}, {"get", "b"}, 6, "or this client lacks permission (code 20)\n"},
      {{kAccepted, "20"}, {"put", "a"}, 1, "or this client lacks permission (code 20)\n"},
      {{kAccepted, "0", "0", "0"}, {"put", "-r", "tree"}, 3, "put tree/empty: skipped: an empty folder"},
      {{kAccepted, "4\tpc7"}, {"lock", "A", "--", "touch", "ran"}, 5, "not locked: unknown answer 4\n"},
      {{kAccepted, "-1"}, {"lock", "A", "--", "touch", "ran"}, 5, "not locked: unknown answer -1\n"},
      {{kAccepted, "0"}, {"lock", "A", "--", "touch", "ran"}, 5, "the lock table cannot be used\n"},
      {{kAccepted, kAlive}, {"ping"}, 0, ": version unknown, connected in "},
      {{"TVL/1.2\x1B\t0", kAlive}, {"ping"}, 0, ": version 1.2?, connected in "},
      {{"TVL/" + std::string(40, '9') + "\t0", kAlive},
       {"ping"},
       0,
       ": version 9999999999999999999999999999999,"},
      {{"TVL/1.2\t0", kAlive}, {"--json", "ping"}, 0, "\"version\":\"1.2\",\"connect_us\":"},
      {{"TVL/1.2\t10\ttag"}, {"ping"}, 7, "does not accept this client's tag (code 10)\n"},
      {{kAccepted, kAlive}, {"status"}, 0, "server  ok  version unknown, connected in "},
      {{kAccepted, "0"}, {"status"}, 5, "the server sent no usable reply (code 12)\n"},
      {{kAccepted, "0"}, {"ping"}, 5, "the server sent no usable reply (code 12)\n"},
  };
  for (const auto& row : rows) {
    // A refusal without a reason may be of the transfer window, which `tvl` then does without.
    const Server server({Answers(row.replies), Answers(row.replies)});
    Expect(row.exit, Over(server, row.command), {row.output});
  }
  Expect(2, {"ping"}, {"ping needs a server: --tcp HOST:PORT"});
  EXPECT_FALSE(folder.Exists("work/ran"));
  Expect(5, {"--tcp", "127.0.0.1:1", "info"}, {"the server cannot be reached (code 10): Connection refused"});
}

TEST_F(TvlConnection, StatusReportsHealthOfServer) {
  const struct {
    std::string answer;
    int exit;
    const char* output;
  } rows[] = {
      {"HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nok\n", 0, "health  ok  ok\n"},
      {"HTTP/1.1 503 No\r\nContent-Length: 8\r\n\r\nno \x1B"
       "disk\n",
       1, "health  bad  503 no ?disk\n"},
      {"HTTP/1.1 200 OK\r\nContent-Length: 9000\r\n\r\n" + std::string(9000, 'x'), 0, "ok  xxxx"},
      {"nonsense\r\n\r\n", 1, "health  bad  no answer from http://"},
  };
  for (const auto& row : rows) {
    const Server page([&](const Peer& peer) {
      const std::string request = "GET /healthz HTTP/1.1\r\n";
      EXPECT_EQ(peer.Read(request.size()), request);
      peer.Send(row.answer);
    });
    const Server server(Answers({kAccepted, kAlive}));
    const std::string url = "http://127.0.0.1:" + std::to_string(page.Port());
    const ProcessResult result = RunProcess(Start(Over(server, {"status", "--health", url})));
    EXPECT_EQ(result.exit, row.exit) << result.err;
    EXPECT_NE(result.out.find(row.output), std::string::npos) << result.out;
  }
  Expect(2, {"status", "--health", "https://127.0.0.1:1"}, {"begins with http://"});
}

TEST_F(TvlConnection, EndOfServerEndsLockedCommand) {
  std::promise<void> running;
  const Server server([&running](Peer& peer) {
    TakeIn(peer, kAccepted);
    peer.ReadPacket();
    peer.Send(Reply("1\tpc7\t1\t1\t10.0.0.7\tann"));
    running.get_future().wait();
  });
  Process holder(Start(Over(server, {"lock", "A", "--", "sh", "-c", "echo held; exec sleep 1000"})));
  EXPECT_TRUE(holder.AwaitOutput());
  running.set_value();
  const ProcessResult result = holder.Finish();
  EXPECT_EQ(result.exit, 5);
  EXPECT_NE(result.err.find("A: the lock was lost: the connection to the server has ended"),
            std::string::npos)
      << result.err;
}

TEST_F(TvlConnection, SilenceIsReportedAndEnds) {
  const Server mute([](Peer& peer) { EXPECT_FALSE(peer.Read(1000).empty()); });
  Expect(5, Over(mute, {"--timeout", "3", "info"}),
         {"tvl: waiting for server 127.0.0.1:",
          "the server sent no usable reply (code 12): Connection timed out"});

  const int table = open(folder.Host("store/tmp/locks/dtlocks.dat").c_str(), O_RDWR | O_CLOEXEC);
  struct flock busy = {};
  busy.l_type = F_WRLCK;
  busy.l_whence = SEEK_SET;
  busy.l_start = off_t{1} << 30;
  busy.l_len = 512;
  ASSERT_EQ(fcntl(table, F_OFD_SETLK, &busy), 0);
  Expect(5, {"--timeout", "3", "lock", "A", "--", "touch", "ran"},
         {"tvl: waiting for the store of ", "tvl: lock: no answer within 3 s from the store of "});
  ExpectJson(5, {"--timeout", "1", "info"}, {"\"message\":\"no answer within 1 s"});
  close(table);
}

// Earlier results were already reported.
TEST_F(TvlConnection, FirstSignalEndsWaitForSilentServer) {
  const Server server(Answers({kAccepted, "19"}));
  Process process(Start(Over(server, {"--json", "get", "a", "b"})));
  EXPECT_TRUE(process.AwaitOutput());
  ASSERT_TRUE(process.ReadErrorsUntil("waiting for server"));
  process.Signal(SIGINT);
  EXPECT_EQ(process.Finish().exit, 130);
}

}  // namespace
