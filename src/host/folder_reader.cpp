#include "host/folder_reader.h"

#include <cerrno>
#include <new>

#include "host/system_calls.h"

namespace tvl {
namespace {

constexpr std::size_t kBuffer = 32 * 1024;

}  // namespace

bool FolderReader::Fill() {
  if (descriptor_ < 0) return false;
  if (entries_ == nullptr) entries_.reset(new (std::nothrow) std::byte[kBuffer]);
  if (entries_ == nullptr) {
    problem_ = ENOMEM;
    return false;
  }
  const ssize_t count = System().getdents(descriptor_, entries_.get(), kBuffer);
  problem_ = count < 0 ? errno : 0;
  at_ = 0;
  filled_ = count > 0 ? static_cast<std::size_t>(count) : 0;
  return filled_ > 0;
}

const dirent64* FolderReader::Next() {
  if (at_ >= filled_ && !Fill()) return nullptr;
  const auto* entry = reinterpret_cast<const dirent64*>(entries_.get() + at_);
  at_ += entry->d_reclen;
  return entry;
}

}  // namespace tvl
