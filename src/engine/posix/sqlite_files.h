#ifndef TVL_ENGINE_POSIX_SQLITE_FILES_H
#define TVL_ENGINE_POSIX_SQLITE_FILES_H

#include <fcntl.h>
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>

#include "engine/posix/kept_journal.h"
#include "engine/sqlite/seen_files.h"
#include "engine/sqlite/void_header.h"

namespace tvl::engine {

class SqliteFiles : public SeenFiles {
 public:
  void Forget() override { journal_.Forget(); }
  void NoteApart() override { is_on_smb_ = true; }
  void PrepareJournal(const std::string& table) override;
  [[nodiscard]] bool LacksStamp() const override { return is_blank_; }
  void StampJournal() override;
  [[nodiscard]] bool SyncsJournal() const override { return is_on_smb_; }
  [[nodiscard]] bool WasJournalEmpty() const override { return journal_.WasEmpty(); }

  [[nodiscard]] KeptJournal& Journal() { return journal_; }

  // Reads the first bytes of the kept journal. Returns their number, or -1.
  [[nodiscard]] ssize_t ReadJournal(VoidHeader& header);

  // Opens the journal for SQLite and keeps it, or returns the kept descriptor. Returns -1 on failure.
  [[nodiscard]] int OpenJournal(const char* path, int flags, mode_t mode);

  // Returns whether the folder was synced through this object since it contains the journal with this inode.
  // If not, the caller must sync it now.
  [[nodiscard]] bool IsJournalNamed() const override { return opened_ == synced_; }
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
  [[nodiscard]] int OpenForWriting(const char* path, int flags, mode_t mode) const;

  KeptJournal journal_;
  FileIdentity opened_;
  FileIdentity synced_;
  std::uint32_t pages_ = 0;
  bool size_is_old_ = false;
  bool is_on_smb_ = false;
  bool is_blank_ = false;
};

}  // namespace tvl::engine

#endif
