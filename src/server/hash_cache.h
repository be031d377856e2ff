#ifndef TVL_SERVER_HASH_CACHE_H
#define TVL_SERVER_HASH_CACHE_H

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

using SignatureText = std::array<char, kSignatureRoom>;

class HashCache;

// The hashing of one file, piece by piece, shared by all who want its signature: it goes on as long as one
// of them asks for the next piece. Any thread may use it.
class HashJob {
 public:
  // What makes two states of a file the same one.
  using Key = std::tuple<dev_t, ino_t, off_t, time_t, long, time_t, long>;

  HashJob(HashCache& cache, const Key& key, bool settled);
  explicit HashJob(const SignatureText& known) : done_(true), signature_(known) {}
  ~HashJob();
  HashJob(const HashJob&) = delete;
  HashJob& operator=(const HashJob&) = delete;

  // Hashes up to kPiece bytes more; true if that was all. `file`: any descriptor of the file, open for
  // reading.
  [[nodiscard]] bool Step(int file);

  // The signature, once Step has returned true; empty if the file could not be read.
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

// SHA-1 signatures of files of the store, each computed once as long as the file's size, times and inode
// stay the same. Keeps those that were asked for last. Must outlive its jobs. Any thread may use it.
class HashCache {
 public:
  explicit HashCache(std::size_t most) : most_(most) {}

  // The job that computes the signature of a file with this status: one that others have begun, or one that
  // is done from the start if the signature is known.
  [[nodiscard]] std::shared_ptr<HashJob> Join(const struct stat& status);

  // How many files were hashed.
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
  std::list<HashJob::Key> ages_;  // the one asked for last is at the front
  std::size_t computed_ = 0;
};

// What a stamp tells of a copy and a file under the compare policy, without a look at their contents. A stamp
// that can't be read is of no such copy.
enum class Verdict { kDifferent, kSame, kByContents };
[[nodiscard]] Verdict CompareStamp(int policy, const struct stat& status, const std::string& stamp);

// Where that needs a look: true if the stamp has this signature.
[[nodiscard]] bool StampHasSignature(const std::string& stamp, const std::string& signature);

}  // namespace tvl::server

#endif
