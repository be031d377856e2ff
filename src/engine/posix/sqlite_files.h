#ifndef TVL_ENGINE_POSIX_SQLITE_FILES_H
#define TVL_ENGINE_POSIX_SQLITE_FILES_H

#include <cstdint>
#include <utility>

#include "engine/posix/kept_journal.h"
#include "engine/sqlite/seen_files.h"

namespace tvl::engine {

class SqliteFiles : public SeenFiles {
 public:
  void Forget() override { journal_.Forget(); }
  [[nodiscard]] bool WasJournalEmpty() const override { return journal_.WasEmpty(); }

  [[nodiscard]] KeptJournal& Journal() { return journal_; }

  // Returns whether the folder was synced through this object since it contains the journal with this inode.
  // If not, the caller must sync it now.
  [[nodiscard]] bool IsJournalSynced() const { return opened_ == synced_; }
  void NoteJournal(const FileIdentity& journal) { opened_ = journal; }
  void NoteSyncedFolder() { synced_ = opened_; }

  // Records the number of pages that the header of the table states in this transaction. If it has changed,
  // this computer may have cached the size of the file from before.
  void NotePages(std::uint32_t pages) {
    size_is_old_ = pages != pages_;
    pages_ = pages;
  }
  // Returns whether the cached size of the table may be old, the first time that it is asked.
  [[nodiscard]] bool TakeOldSize() { return std::exchange(size_is_old_, false); }

 private:
  KeptJournal journal_;
  FileIdentity opened_;
  FileIdentity synced_;
  std::uint32_t pages_ = 0;
  bool size_is_old_ = false;
};

}  // namespace tvl::engine

#endif
