#include "server/hash_cache.h"

#include <time.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>

#include "base/text.h"
#include "transfer/compare.h"
#include "transfer/sha1.h"

namespace tvl::server {
namespace {

// File times move in steps, and every change of a file sets this one, which nobody can set otherwise. A file
// changed a moment ago can change once more within the same step, and nothing but its contents would tell.
// Some file systems keep whole or even seconds only.
constexpr std::int64_t kStepNanoseconds = 20'000'000;
constexpr std::int64_t kCoarseStepNanoseconds = 2'000'000'000;

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

SignatureText Hash(int file) {
  SignatureText signature = {};
  if (lseek(file, 0, SEEK_SET) != 0) return signature;
  Sha1OfHandle(file, signature.data());
  lseek(file, 0, SEEK_SET);
  return signature;
}

}  // namespace

HashCache::Key HashCache::KeyOf(const struct stat& status) {
  return {status.st_dev,          status.st_ino,         status.st_size,        status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

std::size_t HashCache::Computed() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  return computed_;
}

void HashCache::Forget(Entries::iterator entry) {
  ages_.erase(entry->second.age);
  entries_.erase(entry);
}

void HashCache::DropOldest() {
  for (auto age = ages_.end(); entries_.size() > most_ && age != ages_.begin();) {
    --age;
    const auto entry = entries_.find(*age);
    if (entry->second.busy) continue;
    age = ages_.erase(age);
    entries_.erase(entry);
  }
}

// Without memory for the entry: what is there stays as it was.
HashCache::Entries::iterator HashCache::Begin(const Key& key) {
  ages_.push_front(key);
  try {
    const auto entry = entries_.emplace(key, Entry{{}, true, ages_.begin()}).first;
    ++computed_;
    return entry;
  } catch (...) {
    ages_.pop_front();
    throw;
  }
}

// Whoever waits for an entry waits until it is kept or has gone. Nothing in here allocates.
void HashCache::End(Entries::iterator entry, const SignatureText& signature, bool keep) {
  entry->second.signature = signature;
  entry->second.busy = false;
  if (!keep) Forget(entry);
  DropOldest();
  done_.notify_all();
}

std::string HashCache::Signature(int file, const struct stat& status) {
  const Key key = KeyOf(status);
  const bool settled = IsSettled(status, Now());
  std::unique_lock<std::mutex> lock(mutex_);
  auto entry = entries_.find(key);
  for (; entry != entries_.end() && entry->second.busy; entry = entries_.find(key)) done_.wait(lock);
  if (entry != entries_.end()) {
    ages_.splice(ages_.begin(), ages_, entry->second.age);
    return entry->second.signature.data();
  }
  entry = Begin(key);
  lock.unlock();
  const SignatureText signature = Hash(file);
  struct stat after = {};
  const bool unchanged = fstat(file, &after) == 0 && KeyOf(after) == key;
  lock.lock();
  End(entry, signature, settled && unchanged && signature[0] != 0);
  return signature.data();
}

bool HasSignature(HashCache& hashes, int file, const struct stat& status, const std::string& stamp) {
  const std::string signature = stamp.substr(stamp.find('|') + 1);
  return EqualNoCase(signature.c_str(), hashes.Signature(file, status).c_str());
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
  return signature.size() == kSignatureRoom - 1 ? Verdict::kByContents : Verdict::kDifferent;
}

}  // namespace tvl::server
