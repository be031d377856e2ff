#ifndef TVL_ENGINE_SQLITE_SEEN_FILES_H
#define TVL_ENGINE_SQLITE_SEEN_FILES_H

#include <memory>

namespace tvl::engine {

// What the system calls that SQLite makes remember of the files of one connection. Each system remembers
// something else.
class SeenFiles {
 public:
  [[nodiscard]] static std::unique_ptr<SeenFiles> Create();

  SeenFiles() = default;
  SeenFiles(const SeenFiles&) = delete;
  SeenFiles& operator=(const SeenFiles&) = delete;
  virtual ~SeenFiles() = default;

  // Called when a transaction takes its locks: until then, other programs may have changed the files.
  virtual void Forget() = 0;

  // Returns false if the journal may have had contents when the transaction began.
  [[nodiscard]] virtual bool WasJournalEmpty() const { return false; }
};

}  // namespace tvl::engine

#endif
