#ifndef TVL_SERVER_FILES_MADE_FOLDERS_H
#define TVL_SERVER_FILES_MADE_FOLDERS_H

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace tvl::server {

// The folders that puts have created and in which nothing has been stored yet. When the last put that needs
// one is dropped, the folder must be removed again. Paths are relative to the document root. Any thread may
// use it.
class MadeFolders {
 public:
  // Counts a put into `folder`. `made` are the folders on the path that it created.
  void Use(const std::string& folder, const std::vector<std::string>& made);

  // A put into `folder` was stored, so the folders on the path are kept.
  void Keep(const std::string& folder);

  // A put into `folder` was dropped. Returns the folders that are no longer needed, inner ones first.
  [[nodiscard]] std::vector<std::string> Drop(const std::string& folder);

 private:
  std::mutex mutex_;
  std::map<std::string, int> users_;  // an outer folder is before those in it
};

}  // namespace tvl::server

#endif
