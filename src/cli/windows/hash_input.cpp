#include "cli/hash_input.h"

#include <cerrno>

#include "platform/windows/open_file.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestPath = 259;

}  // namespace

struct HashInput::Opened {
  OpenFile file;
};

HashInput::HashInput(const std::string& name)
    : opened_(new Opened{OpenFile(name.c_str(), {})}), path_(name), problem_(opened_->file.Problem()) {
  if (problem_ == 0 && name.size() > kLongestPath) problem_ = ENAMETOOLONG;
  size_ = static_cast<std::int64_t>(opened_->file.Status().size);
}

HashInput::~HashInput() = default;

}  // namespace tvl::cli
