#ifndef TVL_ENGINE_SQLITE_SEEN_FILES_H
#define TVL_ENGINE_SQLITE_SEEN_FILES_H

#include <memory>
#include <string>

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

  // For a connection whose files others use too, on a share where opens need OpenApart. No file is open yet.
  virtual void NoteApart() {}

  // Called with the path of a table that has just been opened for writing; inside OpenApart where that is
  // needed.
  virtual void PrepareJournal(const std::string& /*table*/) {}

  // Returns true if the journal was empty, where SyncsJournal() is true, and so had no stamp (void_header.h).
  [[nodiscard]] virtual bool LacksStamp() const { return false; }
  // Writes a void header to the journal if it is still empty. The table must be locked exclusively.
  virtual void StampJournal() {}

  // Returns whether the system syncs at once what SQLite writes to the journal.
  [[nodiscard]] virtual bool SyncsJournal() const { return false; }

  // Returns false if the folder may have to be synced, so that the journal keeps its name.
  [[nodiscard]] virtual bool IsJournalNamed() const { return false; }

  // Returns false if the journal may have had contents when the transaction began.
  [[nodiscard]] virtual bool WasJournalEmpty() const { return false; }
};

}  // namespace tvl::engine

#endif
