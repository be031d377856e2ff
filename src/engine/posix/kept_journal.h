#ifndef TVL_ENGINE_POSIX_KEPT_JOURNAL_H
#define TVL_ENGINE_POSIX_KEPT_JOURNAL_H

#include <sys/stat.h>

#include "host/file_identity.h"

namespace tvl::engine {

// The journal of a table, kept open between transactions: SQLite opens and closes it in each, which costs
// several requests on a share.
//
// Another program may delete the journal or create a new one in the meantime. So a transaction
// first examines the file of that name, under the lock of the table, and only the descriptor of that file is
// used again.
class KeptJournal {
 public:
  KeptJournal() = default;
  KeptJournal(const KeptJournal&) = delete;
  KeptJournal& operator=(const KeptJournal&) = delete;
  ~KeptJournal() { Drop(); }

  // For a new transaction, which has not examined the journal yet.
  void Forget() { is_seen_ = was_empty_ = false; }

  // Notes the status of the journal, null if it does not exist. A journal with contents was left by a killed
  // writer; unless it is `Cached::kNever`, it is opened by its name, because this computer may have cached
  // older contents of the kept file.
  void NoteSeen(const struct stat* status);

  // Returns whether the journal was empty, or did not exist, when it was seen.
  [[nodiscard]] bool WasEmpty() const { return was_empty_; }

  // Returns true if the kept file was deleted, and closes it: an open file would keep answering for its name.
  [[nodiscard]] bool DropDeleted(const struct stat& status);

  // Returns the kept descriptor if it is that of the file that was seen, else -1.
  [[nodiscard]] int Reuse() const { return is_seen_ ? descriptor_ : -1; }

  // The kept descriptor, or -1.
  [[nodiscard]] int Descriptor() const { return descriptor_; }

  // Returns true for the status of the kept file.
  [[nodiscard]] bool Is(const struct stat& status) const { return IdentityOf(status) == id_; }

  // Whether this computer caches what it reads of the file.
  enum class Cached { kPerhaps, kNever };

  // Keeps a descriptor that was opened for writing.
  void Keep(int descriptor, const FileIdentity& id, Cached cached);

  [[nodiscard]] bool Has(int descriptor) const { return descriptor >= 0 && descriptor == descriptor_; }

 private:
  void Drop();

  int descriptor_ = -1;
  FileIdentity id_;
  Cached cached_ = Cached::kPerhaps;
  bool is_seen_ = false;
  bool was_empty_ = false;
};

}  // namespace tvl::engine

#endif
