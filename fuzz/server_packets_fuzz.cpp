#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/files/names.h"
#include "server/wire/handshake.h"
#include "server/wire/packet_reader.h"

// The input is what a client sends to the server: a handshake and packets that each name a file. The first
// byte determines in what steps the rest arrives; the result must be the same as for all at once.

namespace {

using tvl::server::PacketReader;

void Expect(bool holds) {
  if (!holds) std::abort();
}

bool IsPlain(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char character) {
    return tvl::server::IsControl(character) ||
           std::string_view("/\\|*?").find(character) != std::string_view::npos;
  });
}

void CheckIdentity(std::string_view packet) {
  const std::optional<tvl::server::Handshake> sent = tvl::server::ParseHandshake(packet);
  if (!sent) return;
  const tvl::server::Handshake clean = tvl::server::CleanIdentity(*sent);
  Expect(clean.client_class.size() == 4 && IsPlain(clean.client_class));
  Expect(!clean.computer.empty() && clean.computer.size() <= 32 && IsPlain(clean.computer));
  Expect(!clean.user.empty() && clean.user.size() <= 64 && IsPlain(clean.user));
}

void CheckName(std::string_view name) {
  const std::optional<std::string> path = tvl::server::CleanName(name);
  if (!path) return;
  const std::string framed = "/" + *path + "/";
  for (const char* never : {"//", "/./", "/../", "\\"}) Expect(framed.find(never) == std::string::npos);
  Expect(tvl::server::CleanName(*path) == path);
}

// Returns the payloads of the packets, with the handshake as the first one.
std::vector<std::string> Read(std::string_view bytes, std::size_t step) {
  PacketReader reader;
  std::vector<std::string> packets;
  auto result = PacketReader::Result::kNeedsMore;
  while (result != PacketReader::Result::kBroken && !bytes.empty()) {
    const std::span<char> space = reader.FreeSpace();
    const std::size_t count = std::min({step, bytes.size(), space.size()});
    bytes.copy(space.data(), count);
    bytes.remove_prefix(count);
    reader.Arrived(count);
    do {
      std::string_view packet;
      result = packets.empty() ? reader.NextHandshake(packet) : reader.Next(packet);
      if (result == PacketReader::Result::kPacket) packets.emplace_back(packet);
    } while (result == PacketReader::Result::kPacket);
    reader.Shrink();
  }
  return packets;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view stream(reinterpret_cast<const char*>(bytes + 1), size - 1);
  const std::vector<std::string> packets = Read(stream, bytes[0] + std::size_t{1});
  Expect(packets == Read(stream, stream.size() + 1));
  for (std::size_t i = 0; i < packets.size(); ++i) {
    if (i == 0) {
      CheckIdentity(packets[i]);
    } else {
      CheckName(packets[i]);
    }
  }
  return 0;
}
