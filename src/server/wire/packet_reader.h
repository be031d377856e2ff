#ifndef TVL_SERVER_WIRE_PACKET_READER_H
#define TVL_SERVER_WIRE_PACKET_READER_H

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace tvl::server {

// Takes the stream from a client apart into packets, however its bytes arrive. Costs nothing while there
// is nothing to do, and what the longest packet needs while one comes.
class PacketReader {
 public:
  enum class Result { kPacket, kNeedsMore, kBroken };

  // Returns the buffer for the next bytes from the client; never empty. Invalidates returned packets.
  [[nodiscard]] std::span<char> FreeSpace();
  void Arrived(std::size_t count);

  // Returns the payload of the next packet, which is valid until FreeSpace is called. A packet shorter than
  // its head is broken.
  [[nodiscard]] Result Next(std::string_view& payload);

  // Returns the first packet including its head. It has a minimum size that is not included in its length. A
  // packet that is too short or has no mark is broken.
  [[nodiscard]] Result NextHandshake(std::string_view& packet);

  // Returns the header that a proxy sends first (proxy_header.h). Other bytes are broken.
  [[nodiscard]] Result NextProxyHeader(std::string_view& header);

  // Releases the memory if no bytes wait in it. Before a wait within a transfer, only memory that is cheap to
  // get again is released: of thousands of clients, most wait.
  void Shrink();
  void ShrinkForWait();

 private:
  [[nodiscard]] std::string_view Waiting() const { return {bytes_.data() + begin_, end_ - begin_}; }
  Result Need(std::size_t size);
  std::string_view Take(std::size_t size);

  static constexpr std::size_t kLeastSize = 4096;

  std::vector<char> bytes_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t needed_ = 0;  // size of the packet that is arriving
};

}  // namespace tvl::server

#endif
