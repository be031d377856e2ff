#include "base/memory.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

void* Checked(void* block) {
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

char* At(void* array, std::size_t offset) {
  return static_cast<char*>(array) + offset;
}

// Requests one byte for a size of 0, so that a null result always means a failure.
void* Reallocate(void* array, std::size_t size) {
  return Checked(std::realloc(array, size == 0 ? 1 : size));
}

}  // namespace

void* SafeFree(void* block) {
  std::free(block);
  return nullptr;
}

char* StrDup(const char* text) {
  return static_cast<char*>(Checked(strdup(text == nullptr ? "" : text)));
}

char* StrReplace(char* old, const char* text) {
  char* copy = StrDup(text);
  SafeFree(old);
  return copy;
}

void* GrowArray(void* array, int count, unsigned int elementSize, unsigned int chunk) {
  const auto used = static_cast<std::size_t>(count);
  if (used % chunk != 0) return array;
  if (array == nullptr) return Checked(std::calloc(chunk, elementSize));
  array = Reallocate(array, (used + chunk) * elementSize);
  std::memset(At(array, used * elementSize), 0, std::size_t{chunk} * elementSize);
  return array;
}

void* ResizeArray(void* array, unsigned int oldCount, int newCount, unsigned int elementSize) {
  if (newCount < 0) throw std::bad_alloc();
  const auto count = static_cast<std::size_t>(newCount);
  if (array == nullptr) return Checked(std::calloc(count == 0 ? 1 : count, elementSize));
  if (count <= oldCount) {
    std::memset(At(array, count * elementSize), 0, (oldCount - count) * elementSize);
    return array;
  }
  array = Reallocate(array, count * elementSize);
  std::memset(At(array, std::size_t{oldCount} * elementSize), 0, (count - oldCount) * elementSize);
  return array;
}
