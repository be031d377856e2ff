#ifndef TVL_SERVER_FILES_CHUNK_H
#define TVL_SERVER_FILES_CHUNK_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "tcp/protocol.h"

namespace tvl::server {

// One packet of a get: bytes of a file, with space before them for head and preface.
class Chunk {
 public:
  // So that even the first packet, with code and time, does not exceed what a client accepts.
  static constexpr std::size_t kFront = 64;
  static constexpr std::size_t kMost = protocol::kMostPayload - kFront;

  [[nodiscard]] char* Data() { return bytes_.data() + kFront; }
  [[nodiscard]] std::size_t Size() const { return size_; }
  void SetSize(std::size_t size) { size_ = size; }

  // Returns the complete packet: head, `preface`, the length of the data, the data. Valid until the chunk
  // changes.
  std::string_view Packet(std::string_view preface) {
    char* const length_at = Data() - protocol::kChunkHeadSize;
    protocol::WriteLength(length_at, size_);
    char* const preface_at = length_at - preface.size();
    preface.copy(preface_at, preface.size());
    char* const head = preface_at - protocol::kHeadSize;
    const std::size_t payload = preface.size() + protocol::kChunkHeadSize + size_;
    head[0] = head[protocol::kHeadSize - 1] = 0;
    protocol::WriteLength(head + 1, payload);
    return {head, protocol::kHeadSize + payload};
  }

 private:
  std::array<char, kFront + kMost> bytes_;  // not cleared: that would cost more than a small file
  std::size_t size_ = 0;
};

}  // namespace tvl::server

#endif
