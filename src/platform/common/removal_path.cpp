#include "platform/common/removal_path.h"

#include <cerrno>

#include "platform/last_error.h"

namespace tvl {

using std::string_view;

void RemovalPath::Set(string_view path) {
  Cut(path.copy(path_, sizeof path_ - 1));
}

void RemovalPath::Report(std::uint64_t size) const {
  if (hooks_.reached != nullptr) hooks_.reached(path_, size, hooks_.argument);
}

Removal RemovalPath::Fail(Removal result, int problem) const {
  NoteError(path_, problem);
  return result;
}

Removal RemovalPath::FailTooLong() const {
  return Fail(Removal::kFileStays, ENAMETOOLONG);
}

bool RemovalPath::Append(string_view name) {
  const bool separated = length_ > 0 && path_[length_ - 1] == '\\';
  if (length_ + (separated ? 0 : 1) + name.size() >= sizeof path_) return false;
  if (!separated) path_[length_++] = '\\';
  Cut(length_ + name.copy(path_ + length_, name.size()));
  return true;
}

void RemovalPath::Cut(std::size_t length) {
  length_ = length;
  path_[length_] = 0;
}

}  // namespace tvl
