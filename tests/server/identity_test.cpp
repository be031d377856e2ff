#include <gtest/gtest.h>

#include <functional>

#include "server/handshake.h"
#include "server/packet_reader.h"
#include "server/raw_client.h"

namespace {

using std::string;
using std::string_view;
using tvl::server::CleanIdentity;
using tvl::server::Handshake;
using tvl::server::PacketReader;

TEST(Identity, FitsMarkersAndRowsWhateverWasSent) {
  const struct {
    Handshake sent;
    Handshake clean;
  } rows[] = {
      {{"mgrx", "pc1", "ann", "tag"}, {"mgrx", "pc1", "ann", ""}},
      {{"ab", "", "", ""}, {"abxx", "unknown", "Unknown", ""}},
      {{"abcdef", "p|c\\1", "a/b*c?d\te", ""}, {"abcd", "p_c_1", "a_b_c_d_e", ""}},
      {{"ab  ", "pc ", "ann  ", ""}, {"ab__", "pc_", "ann__", ""}},
      {{"abc def", "p c", " a", ""}, {"abc_", "p c", " a", ""}},
      {{"\x01\x02\x7F\xE9z", "..", "\xC3\xA4", ""}, {"___\xE9", "..", "\xC3\xA4", ""}},
      {{"", string(31, 'c') + " d", string(80, 'u'), ""},
       {"xxxx", string(31, 'c') + "_", string(64, 'u'), ""}},
  };
  for (const auto& row : rows) {
    const Handshake clean = CleanIdentity(row.sent);
    EXPECT_EQ(clean.client_class, row.clean.client_class);
    EXPECT_EQ(clean.computer, row.clean.computer);
    EXPECT_EQ(clean.user, row.clean.user);
    EXPECT_EQ(clean.tag, "");
  }
}

void Feed(PacketReader& reader, string_view bytes, std::size_t step, const std::function<void()>& after) {
  while (!bytes.empty()) {
    const std::span<char> room = reader.Room();
    const std::size_t count = std::min({step, bytes.size(), room.size()});
    bytes.copy(room.data(), count);
    bytes.remove_prefix(count);
    reader.Arrived(count);
    after();
  }
}

TEST(Packets, AreTheSameHoweverTheyArrive) {
  const string longest(65531, 'L');
  const std::vector<string> payloads = {"Ga\t@", "", longest, "0", string(4092, 'p'), longest, "X"};
  string stream = RawClient::HandshakeBytes({"mgrx", "a", "b", ""});
  for (const string& payload : payloads) stream += RawClient::PacketBytes(payload);
  for (const std::size_t step : {std::size_t{1}, std::size_t{3}, std::size_t{4096}, std::size_t{200000}}) {
    PacketReader reader;
    bool shaken = false;
    std::vector<string> came;
    Feed(reader, stream, step, [&] {
      string_view payload;
      if (!shaken) shaken = reader.NextHandshake(payload) == PacketReader::Result::kPacket;
      while (shaken && reader.Next(payload) == PacketReader::Result::kPacket) came.emplace_back(payload);
      reader.Shrink();
    });
    EXPECT_EQ(came, payloads) << "in steps of " << step;
  }
}

TEST(Packets, ShorterThanTheirHeadAreBroken) {
  for (const char length : {'\0', '\1', '\3'}) {
    PacketReader reader;
    string_view payload;
    Feed(reader, string{0, 0, length, 0}, 4, [] {});
    EXPECT_EQ(reader.Next(payload), PacketReader::Result::kBroken);
  }
}

}  // namespace
