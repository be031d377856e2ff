#ifndef TVL_SERVER_FILES_HASH_CACHE_H
#define TVL_SERVER_FILES_HASH_CACHE_H

#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>

#include "transfer/sha1.h"

namespace tvl::server {

using SignatureText = std::array<char, kSignatureSize>;

class HashCache;

// The hashing of one file, piece by piece, shared by all clients that need its signature. It continues as
// long as one of them asks for the next piece. Any thread may use it.
class HashJob {
 public:
  // Two states of a file with the same key are the same.
  using Key = std::tuple<dev_t, ino_t, off_t, time_t, long, time_t, long>;

  HashJob(HashCache& cache, const Key& key, bool settled);
  explicit HashJob(const SignatureText& known) : done_(true), signature_(known) {}
  ~HashJob();
  HashJob(const HashJob&) = delete;
  HashJob& operator=(const HashJob&) = delete;

  // Hashes up to kPiece more bytes. Returns true at the end. `file` is any descriptor of the file that is
  // open for reading.
  [[nodiscard]] bool Step(int file);

  // Returns the signature, after Step has returned true; empty if the file could not be read.
  [[nodiscard]] std::string Signature() const;

  static constexpr std::size_t kPiece = std::size_t{4} << 20U;

 private:
  bool ReadPiece(int file);
  void Finish(int file);

  HashCache* cache_ = nullptr;
  Key key_;
  bool settled_ = false;
  mutable std::mutex mutex_;
  bool done_ = false;
  bool failed_ = false;
  off_t position_ = 0;
  Sha1Context context_ = {};
  SignatureText signature_ = {};
};

// SHA-1 signatures of files of the store. Each is computed once as long as size, times and inode of the file
// do not change. Keeps the signatures requested most recently. Must outlive its jobs. Any thread may use it.
class HashCache {
 public:
  explicit HashCache(std::size_t most) : most_(most) {}

  // Returns the job that computes the signature of a file with this status. It may have been started for
  // another client, or already be done if the signature is known.
  [[nodiscard]] std::shared_ptr<HashJob> Join(const struct stat& status);

  // Returns the number of files that were hashed.
  [[nodiscard]] std::size_t Computed() const;

  static HashJob::Key KeyOf(const struct stat& status);

 private:
  friend class HashJob;

  struct Entry {
    SignatureText signature;
    std::list<HashJob::Key>::iterator age;
  };

  void Keep(const HashJob::Key& key, const SignatureText& signature);
  void Forget(const HashJob::Key& key);

  const std::size_t most_;
  mutable std::mutex mutex_;
  std::map<HashJob::Key, std::weak_ptr<HashJob>> running_;
  std::map<HashJob::Key, Entry> kept_;
  std::list<HashJob::Key> ages_;  // the most recently requested one is at the front
  std::size_t computed_ = 0;
};

// Compares a stamp with a file by the compare policy, without reading the contents. A stamp that cannot be
// parsed means a different copy.
enum class Verdict { kDifferent, kSame, kByContents };
[[nodiscard]] Verdict CompareStamp(int policy, const struct stat& status, const std::string& stamp);

// For Verdict::kByContents: returns true if the stamp has this signature.
[[nodiscard]] bool StampHasSignature(const std::string& stamp, const std::string& signature);

}  // namespace tvl::server

#endif
