#include "store/backup/small_file.h"

#include <cerrno>

#include "platform/last_error.h"
#include "platform/shared_folder.h"
#include "platform/windows/open_file.h"

namespace tvl {

int ReadSmallFile(const std::string& path, SmallFile& file) {
  const OpenFile opened(path.c_str(), {});
  if (!opened.IsOpen()) return opened.Problem();
  if (opened.Status().size > kLargestSmallFile) return EFBIG;
  file.contents.resize(static_cast<std::size_t>(opened.Status().size));
  std::size_t count = 0;
  const int problem = ReadAll(opened.Get(), file.contents.data(), file.contents.size(), &count);
  file.contents.resize(count);
  return problem;
}

int CreateSmallFile(const std::string& path, const SmallFile& file, CreateStep& step) {
  step = CreateStep::kCreate;
  return CreateSharedFile(path.c_str(), file.contents) ? 0 : LastErrorCode();
}

}  // namespace tvl
