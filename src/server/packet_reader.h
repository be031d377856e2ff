#ifndef TVL_SERVER_PACKET_READER_H
#define TVL_SERVER_PACKET_READER_H

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

  // Where the next bytes from the client go; never empty. Ends the packets handed out.
  [[nodiscard]] std::span<char> Room();
  void Arrived(std::size_t count);

  // The next packet's payload, which holds until Room is called. Broken is a packet shorter than its head.
  [[nodiscard]] Result Next(std::string_view& payload);

  // The first packet, head included: it has a least size on the wire that its length doesn't count. What is
  // too short for one or has no mark is broken.
  [[nodiscard]] Result NextHandshake(std::string_view& packet);

  // The header that a proxy sends before all else (proxy_header.h). What does not begin one is broken.
  [[nodiscard]] Result NextProxyHeader(std::string_view& header);

  // Releases the memory if no bytes wait in it. Before a wait within a transfer, only memory that is cheap to
  // get again is released: of thousands of clients, most wait.
  void Shrink();
  void ShrinkForWait();

 private:
  [[nodiscard]] std::string_view Waiting() const { return {bytes_.data() + begin_, end_ - begin_}; }
  Result Need(std::size_t size);
  std::string_view Take(std::size_t size);

  static constexpr std::size_t kLeastRoom = 4096;

  std::vector<char> bytes_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t needed_ = 0;  // size of the packet that is on its way
};

}  // namespace tvl::server

#endif
