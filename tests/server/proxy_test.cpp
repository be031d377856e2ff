#include <gtest/gtest.h>

#include "server/server_process.h"
#include "server/wire/proxy_header.h"

namespace {

using std::string;

// Returns two bytes, the high one first.
string Number16(std::size_t number) {
  return {static_cast<char>(number >> 8U), static_cast<char>(number & 0xFFU)};
}

string Value(char type, const string& bytes) {
  return type + Number16(bytes.size()) + bytes;
}

string Header(char command, char family, const string& rest) {
  return string("\r\n\r\n\0\r\nQUIT\n", 12) + command + family + Number16(rest.size()) + rest;
}

// Returns a certificate with this name. `result` is the result of its verification, 0 if it is valid.
string Certificate(const string& name, char result = 0) {
  return Value(0x20, string("\x07\0\0\0", 4) + result + Value(0x21, "TLSv1.3") + Value(0x22, name));
}

const string kEndpoints("\x7F\0\0\x05\x7F\0\0\x01\x30\x39\x1D\x10", 12);

string Proxied(const string& values = {}) {
  return Header(0x21, 0x11, kEndpoints + values);
}

TEST(ProxyHeader, IsParsedOrRefused) {
  const string v6 = string(15, '\0') + "\x01" + string(16, '\0') + "\x30\x39\x1D\x10";
  // The checksum that the published description requires, of this very header.
  const string checked = Proxied(Value(0x03, "\xED\xCC\x67\x45"));
  const struct {
    string header, client, name;
  } rows[] = {
      {Proxied(), "127.0.0.5:12345", "-"},
      {Header(0x21, 0x21, v6), "::1:12345", "-"},
      {Header(0x20, 0x00, ""), "local", "-"},
      {Header(0x20, 0x11, kEndpoints), "local", "-"},
      {Proxied(Value(0x04, "") + Certificate("ann")), "127.0.0.5:12345", "ann"},
      {Proxied(Certificate("ann", 1)), "127.0.0.5:12345", "-"},
      {Proxied(Value(0x20, string("\x01\0\0\0\0", 5) + Value(0x22, "ann"))), "127.0.0.5:12345", "-"},
      {Header(0x22, 0x11, kEndpoints), "refused", ""},
      {Header(0x21, 0x00, ""), "refused", ""},
      {Header(0x21, 0x12, kEndpoints), "refused", ""},
      {Header(0x21, 0x11, kEndpoints.substr(1)), "refused", ""},
      {Proxied("\x04"), "refused", ""},
      {Proxied(string("\x04\0\x01", 3)), "refused", ""},
      {Proxied(Value(0x20, "\x07")), "refused", ""},
      {Proxied(Value(0x20, string("\x07\0\0\0\0\x22\xFF\xFF", 8))), "refused", ""},
      {Proxied(Value(0x03, "1234")), "refused", ""},
      {Proxied(Value(0x03, "123")), "refused", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.header));
    EXPECT_EQ(tvl::server::ProxyHeaderSize(row.header), row.header.size());
    const auto parsed = tvl::server::ParseProxyHeader(row.header);
    ASSERT_EQ(parsed.has_value(), row.client != "refused");
    if (!parsed) continue;
    const string client =
        parsed->client ? parsed->client->address().to_string() + ":" + std::to_string(parsed->client->port())
                       : "local";
    EXPECT_EQ(client, row.client);
    EXPECT_EQ(parsed->certificate_name.value_or("-"), row.name);
  }
  for (const string& head : {string(16, 'x'), "PROXY TCP4 127.0" + string(9, ' '), Header(0x11, 0x11, ""),
                             Header(0x21, 0x11, string(4081, 'x'))}) {
    EXPECT_EQ(tvl::server::ProxyHeaderSize(head), std::nullopt) << testing::PrintToString(head);
  }
}

// A server with a proxy, whose role this test plays.
class ServerProxy : public testing::Test {
 protected:
  std::vector<string> Options() const {
    store.folder.Write("users", "ann\tread\nann\twrite\tdocs\nbob\twrite\n");
    return {"--listen-proxy",
            "127.0.0.1:0",
            "--proxy-port-file",
            store.folder.Host("proxy"),
            "--proxy-from",
            "127.0.0.1,127.0.0.3",
            "--allow",
            "127.0.0.5",
            "--users",
            store.folder.Host("users"),
            "--user-from-certificate"};
  }

  // Connects with a header. Returns the answer to the handshake, empty if the connection ends.
  static string Answer(const RawClient& client, const string& header) try {
    client.Send(header + RawClient::HandshakeBytes({.user = "root"}));
    return client.Receive();
  } catch (const std::runtime_error&) {
    return {};
  }

  const ServedStore store;
  const ServerProcess server{store, Options()};
  const unsigned short port = static_cast<unsigned short>(std::stoi(store.folder.Read("proxy")));
};

TEST_F(ServerProxy, TrustsItsProxy) {
  const RawClient client(port);
  EXPECT_TRUE(Answer(client, Proxied(Certificate("ann"))).starts_with(kAccepted));
  EXPECT_TRUE(server.WaitForLog("127.0.0.5:12345 \"pc1/ann/mgrx#1\" enter"));
  EXPECT_TRUE(client.Ask("LORD1").ends_with("127.0.0.5\tann"));
  EXPECT_EQ(client.Put("docs/a", "x"), 0);
  EXPECT_EQ(client.Ask("Pa\t@"), "20\tright");
  EXPECT_EQ(client.Get("docs/a").bytes, "x");
}

TEST_F(ServerProxy, RefusesUntrustedHeaders) {
  const string elsewhere = string("\x7F\0\0\x06", 4) + kEndpoints.substr(4);
  const struct {
    string header, answer;
    const char* from;
  } rows[] = {
      {Proxied(Certificate("carl")), kServer + "\t10\tcertificate", "127.0.0.1"},
      {Proxied(Certificate("ann", 1)), kServer + "\t10\tcertificate", "127.0.0.1"},
      {Proxied(Certificate(string(65, 'a'))), kServer + "\t10\tcertificate", "127.0.0.1"},
      {Proxied(), kServer + "\t10\tcertificate", "127.0.0.1"},
      {Header(0x21, 0x11, elsewhere + Certificate("ann")), kServer + "\t10\taddress", "127.0.0.1"},
      {Proxied("\x04"), "", "127.0.0.1"},
      {"", "", "127.0.0.1"},
      {Proxied(Certificate("ann")), "", "127.0.0.2"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Answer(RawClient(port, row.from), row.header), row.answer)
        << testing::PrintToString(row.header);
  }
  EXPECT_EQ(Answer(RawClient(server.Port()), ""), kServer + "\t10\taddress");  // past the proxy
  const RawClient check(port, "127.0.0.3");
  check.Send(Header(0x20, 0x00, ""));
  EXPECT_TRUE(check.IsEnded());
  EXPECT_TRUE(Answer(RawClient(port), Proxied(Certificate("bob"))).starts_with(kAccepted));
  EXPECT_TRUE(server.WaitForLog("/bob/"));
  EXPECT_EQ(server.Log().find("127.0.0.3"), string::npos) << server.Log();
}

}  // namespace
