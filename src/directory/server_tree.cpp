#include <cstring>

#include "base/file_helpers.h"
#include "base/fixed_text.h"
#include "base/path_helpers.h"
#include "base/pump.h"
#include "directory/state.h"
#include "platform/search.h"

namespace {

bool IsDotName(const char* name) {
  return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

// A search that closes itself.
class OpenSearch {
 public:
  explicit OpenSearch(const char* pattern) : search_(FindFirstFileA(pattern, &found_)) {}
  ~OpenSearch() {
    if (IsOpen()) FindClose(search_);
  }
  OpenSearch(const OpenSearch&) = delete;
  OpenSearch& operator=(const OpenSearch&) = delete;

  [[nodiscard]] bool IsOpen() const { return search_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] const char* Name() const { return found_.cFileName; }
  [[nodiscard]] bool Next() { return FindNextFileA(search_, &found_) != 0; }

 private:
  WIN32_FIND_DATAA found_ = {};
  HANDLE search_;
};

// Puts a name behind those before it. False where memory ran out.
bool AppendName(const char* name, bool first, CString& list) {
  return (first || list.AppendChar('|') != 0) && list.Append(name) != 0;
}

}  // namespace

int CTVLClientSmbOpr::GetRemoteDirContent(char* directory, char* pattern, int* count, CString& list) {
  tvl::PathText path = tvl::JoinPath(state->serverRoot, directory);
  if (!path.Fits() || IsDirectory(path.Text()) == 0) return TVL_ERR_SERVER_FILE;
  path.Append("\\").Append(pattern);
  if (!path.Fits()) return TVL_ERR_SERVER_FILE;
  OpenSearch search(path.Text());
  PumpMessages();
  int names = 0;
  for (bool more = search.IsOpen(); more; more = search.Next()) {
    if (!IsDotName(search.Name())) {
      if (!AppendName(search.Name(), names == 0, list)) return TVL_ERR_SERVER_FILE;
      ++names;
    }
    PumpMessages();
  }
  *count = names;
  return TVL_OK;
}
