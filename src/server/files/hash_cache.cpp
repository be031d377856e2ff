#include "server/files/hash_cache.h"

#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <new>

#include "base/text.h"
#include "host/system_calls.h"
#include "transfer/compare.h"

namespace tvl::server {
namespace {

// File times change in steps. Every change of a file sets its change time, which cannot be set otherwise. A
// file that was changed a moment ago may change again within the same step, which only its contents would
// show. Some file systems store only whole or even seconds.
constexpr std::int64_t kStepNanoseconds = 20'000'000;
constexpr std::int64_t kCoarseStepNanoseconds = 2'000'000'000;

// Small enough to stay in the second-level cache while it is hashed.
constexpr std::size_t kReadBuffer = 128 * 1024;

std::int64_t Nanoseconds(const timespec& moment) {
  return moment.tv_sec * std::int64_t{1'000'000'000} + moment.tv_nsec;
}

bool IsSettled(const struct stat& status, std::int64_t now) {
  const bool coarse = status.st_ctim.tv_nsec == 0;
  return now - Nanoseconds(status.st_ctim) > (coarse ? kCoarseStepNanoseconds : kStepNanoseconds);
}

std::int64_t Now() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return Nanoseconds(now);
}

}  // namespace

HashJob::HashJob(HashCache& cache, const Key& key, bool settled)
    : cache_(&cache), key_(key), settled_(settled) {
  Sha1Init(&context_);
}

HashJob::~HashJob() {
  if (cache_ != nullptr) cache_->Forget(key_);
}

std::string HashJob::Signature() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  return signature_.data();
}

bool HashJob::Step(int file) {
  const std::lock_guard<std::mutex> guard(mutex_);
  if (!done_ && !ReadPiece(file)) Finish(file);
  return done_;
}

// Returns false when there is nothing more to read.
bool HashJob::ReadPiece(int file) {
  char bytes[kReadBuffer];
  const off_t end = position_ + static_cast<off_t>(kPiece);
  while (position_ < end) {
    const ssize_t count = System().pread(file, bytes, sizeof bytes, position_);
    if (count < 0 && errno == EINTR) continue;
    failed_ = count < 0;
    if (count <= 0) return false;
    Sha1Update(&context_, bytes, static_cast<unsigned int>(count));
    position_ += count;
  }
  return true;
}

void HashJob::Finish(int file) {
  done_ = true;
  if (failed_) return;
  Sha1Signature(&context_, signature_.data());
  struct stat after = {};
  const bool unchanged = System().fstat(file, &after) == 0 && HashCache::KeyOf(after) == key_;
  if (settled_ && unchanged) cache_->Keep(key_, signature_);
}

HashJob::Key HashCache::KeyOf(const struct stat& status) {
  return {status.st_dev,          status.st_ino,         status.st_size,        status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

std::size_t HashCache::Computed() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  return computed_;
}

std::shared_ptr<HashJob> HashCache::Join(const struct stat& status) {
  const HashJob::Key key = KeyOf(status);
  const std::lock_guard<std::mutex> guard(mutex_);
  if (const auto kept = kept_.find(key); kept != kept_.end()) {
    ages_.splice(ages_.begin(), ages_, kept->second.age);
    return std::make_shared<HashJob>(kept->second.signature);
  }
  std::weak_ptr<HashJob>& running = running_[key];
  if (std::shared_ptr<HashJob> job = running.lock()) return job;
  auto job = std::make_shared<HashJob>(*this, key, IsSettled(status, Now()));
  running = job;
  ++computed_;
  return job;
}

// If memory runs out, the signature is computed again next time.
void HashCache::Keep(const HashJob::Key& key, const SignatureText& signature) try {
  const std::lock_guard<std::mutex> guard(mutex_);
  if (kept_.contains(key)) return;
  ages_.push_front(key);
  kept_.emplace(key, Entry{signature, ages_.begin()});
  if (kept_.size() <= most_) return;
  kept_.erase(ages_.back());
  ages_.pop_back();
} catch (const std::bad_alloc&) {
}

// Another job for the same file may have begun since the last one ended.
void HashCache::Forget(const HashJob::Key& key) {
  const std::lock_guard<std::mutex> guard(mutex_);
  const auto running = running_.find(key);
  if (running != running_.end() && running->second.expired()) running_.erase(running);
}

bool StampHasSignature(const std::string& stamp, const std::string& signature) {
  return EqualNoCase(stamp.substr(stamp.find('|') + 1).c_str(), signature.c_str());
}

Verdict CompareStamp(int policy, const struct stat& status, const std::string& stamp) {
  char text[32];
  std::snprintf(text, sizeof text, "%" PRIx64 "|", static_cast<std::uint64_t>(status.st_size));
  const std::size_t bar = stamp.find('|');
  if (bar == std::string::npos || !EqualNoCase(stamp.substr(0, bar + 1).c_str(), text))
    return Verdict::kDifferent;
  const std::string signature = stamp.substr(bar + 1);
  if (policy == kCompareTime) {
    std::snprintf(text, sizeof text, "%" PRIx32, static_cast<std::uint32_t>(status.st_mtim.tv_sec));
    return EqualNoCase(signature.c_str(), text) ? Verdict::kSame : Verdict::kDifferent;
  }
  return signature.size() == kSignatureSize - 1 ? Verdict::kByContents : Verdict::kDifferent;
}

}  // namespace tvl::server
