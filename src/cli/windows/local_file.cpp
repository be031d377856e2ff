#include "cli/local_file.h"

#include <array>
#include <cerrno>
#include <cstdio>

#include "cli/windows/system.h"
#include "platform/windows/native.h"
#include "platform/windows/open_file.h"

namespace tvl::cli {
namespace {

int WriteNew(OpenFile& file, const std::string& text) {
  if (const int problem = WriteAll(file.Get(), text.data(), text.size())) return problem;
  if (const int problem = native::Flush(file.Get())) return problem;
  return file.Close();
}

int OpenProblem(const std::string& path, bool reads, bool writes) {
  native::Handle file = native::kNoHandle;
  const int problem = native::Open(path.c_str(), {.reads = reads, .writes = writes}, &file);
  if (problem == 0) native::Close(file);
  return problem;
}

}  // namespace

int LoadFile(const std::string& path, Pipe /*pipe*/, std::size_t most, LoadedFile& file) {
  const OpenFile opened(path.c_str(), {});
  if (!opened.IsOpen()) return opened.Problem();
  file = {{}, true};
  std::array<char, 65536> piece = {};
  for (;;) {
    std::size_t count = 0;
    if (const int problem = native::Read(opened.Get(), piece.data(), piece.size(), &count)) return problem;
    if (count == 0) return 0;
    file.text.append(piece.data(), count);
    if (file.text.size() > most) return EFBIG;
  }
}

int LoadStandardInput(std::size_t most, LoadedFile& file) {
  file = {};
  std::array<char, 65536> piece = {};
  while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), stdin)) {
    file.text.append(piece.data(), count);
    if (file.text.size() > most) return EFBIG;
  }
  return std::ferror(stdin) != 0 ? EIO : 0;
}

int SaveNewFile(const std::string& path, const std::string& text) {
  OpenFile file(path.c_str(), {.writes = true, .creation = native::Creation::kOnlyNew});
  return file.IsOpen() ? WriteNew(file, text) : file.Problem();
}

int ReplaceFileBy(const std::string& part, const std::string& path) {
  return native::Rename(part.c_str(), path.c_str(), true);
}

int RemoveLocalFile(const std::string& path) {
  return native::Delete(path.c_str());
}

int MakeLocalFolder(const std::string& path) {
  return native::CreateFolder(path.c_str());
}

int AccessProblem(const std::string& path, Access access) {
  if (access == Access::kChangeFolder) return FolderChangeProblem(path);
  return OpenProblem(path, access != Access::kWrite, access != Access::kRead);
}

}  // namespace tvl::cli
