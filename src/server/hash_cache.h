#ifndef TVL_SERVER_HASH_CACHE_H
#define TVL_SERVER_HASH_CACHE_H

#include <sys/stat.h>

#include <array>
#include <condition_variable>
#include <cstddef>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <tuple>

#include "transfer/sha1.h"

namespace tvl::server {

using SignatureText = std::array<char, kSignatureRoom>;

// SHA-1 signatures of files of the store, each computed once as long as the file's size, times and inode
// stay. Keeps those asked for last. Any thread may use it; who asks for a file that another thread is hashing
// waits.
class HashCache {
 public:
  explicit HashCache(std::size_t most) : most_(most) {}

  // Signature of the file open for reading behind `file`, whose status is given; empty if it can't be read.
  [[nodiscard]] std::string Signature(int file, const struct stat& status);

  // How many files were hashed.
  [[nodiscard]] std::size_t Computed() const;

 private:
  using Key = std::tuple<dev_t, ino_t, off_t, time_t, long, time_t, long>;
  struct Entry {
    SignatureText signature;
    bool busy = true;
    std::list<Key>::iterator age;
  };
  using Entries = std::map<Key, Entry>;

  static Key KeyOf(const struct stat& status);
  Entries::iterator Begin(const Key& key);
  void End(Entries::iterator entry, const SignatureText& signature, bool keep);
  void Forget(Entries::iterator entry);
  void DropOldest();

  const std::size_t most_;
  mutable std::mutex mutex_;
  std::condition_variable done_;
  Entries entries_;
  std::list<Key> ages_;  // the newest first
  std::size_t computed_ = 0;
};

// What a stamp tells of a copy and a file under the compare policy, without a look at their contents. A stamp
// that can't be read is of no such copy.
enum class Verdict { kDifferent, kSame, kByContents };
[[nodiscard]] Verdict CompareStamp(int policy, const struct stat& status, const std::string& stamp);

// Where that needs a look: true if the copy's signature, in its stamp, is the file's. Reads the whole file,
// unless it was read before.
[[nodiscard]] bool HasSignature(HashCache& hashes, int file, const struct stat& status,
                                const std::string& stamp);

}  // namespace tvl::server

#endif
