#include "transfer/core.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

CCore::~CCore() {
  Release();
}

void CCore::Attach(void* bytes, std::uint32_t new_length, int freeOld) {
  if (freeOld != 0) std::free(data);
  data = static_cast<unsigned char*>(bytes);
  length = new_length;
  position = 0;
  capacity_ = new_length;
}

// Grows by half of the size, so that the total cost of all reallocations is proportional to the size of the
// block.
bool CCore::Reserve(std::uint64_t bytes) {
  if (data != nullptr && bytes <= capacity_) return true;
  const auto wanted = static_cast<std::size_t>(std::clamp<std::uint64_t>(
      capacity_ + capacity_ / 2, std::max<std::uint64_t>(bytes, 1), std::numeric_limits<std::size_t>::max()));
  void* grown = std::realloc(data, wanted);
  if (grown == nullptr) return false;
  data = static_cast<unsigned char*>(grown);
  capacity_ = wanted;
  return true;
}

std::uint32_t CCore::Append(const void* bytes, std::int32_t count) {
  if (count < 0) return length;
  const std::uint64_t grown = std::uint64_t{length} + static_cast<std::uint32_t>(count);
  if (grown > std::numeric_limits<std::uint32_t>::max() || !Reserve(grown)) return length;
  if (count > 0) std::memcpy(data + length, bytes, static_cast<std::size_t>(count));
  length = static_cast<std::uint32_t>(grown);
  return length;
}

const void* CCore::Take(std::uint32_t count, std::uint32_t* taken) {
  *taken = std::min(count, length - position);
  const unsigned char* piece = data + position;
  position += *taken;
  return piece;
}

std::uint32_t CCore::Read(void* destination, std::uint32_t count) {
  std::uint32_t taken = 0;
  const void* piece = Take(count, &taken);
  if (taken > 0) std::memcpy(destination, piece, taken);
  return taken;
}

void CCore::Release() {
  std::free(data);
  data = nullptr;
  length = 0;
  position = 0;
  capacity_ = 0;
}
