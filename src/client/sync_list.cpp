#include "client/sync_list.h"

#include <cstdint>
#include <cstring>
#include <utility>

#include <tvlclient/client_opr.h>

#include "base/fixed_text.h"
#include "base/memory.h"
#include "base/path_helpers.h"
#include "base/text.h"

namespace {

constexpr int kFree = -1;
constexpr std::size_t kFirstSlots = 64;
constexpr int kChunk = 4;

// FNV-1a (Fowler, Noll, Vo), over the lower-case form.
std::uint32_t FoldedHash(const char* path) {
  std::uint64_t hash = 14695981039346656037U;
  for (; *path != 0; ++path) {
    const char folded = *path >= 'A' && *path <= 'Z' ? static_cast<char>(*path - 'A' + 'a') : *path;
    hash = (hash ^ static_cast<unsigned char>(folded)) * 1099511628211U;
  }
  return static_cast<std::uint32_t>(hash ^ hash >> 32U);
}

struct ExcludedExtension {
  const char* extension;
  SYNC_DIR_FILE_EXCLUDE flag;
};

constexpr ExcludedExtension kExcluded[] = {
    {".mdb", SYNC_DIR_FILE_EXCLUDE_DATABASE}, {".ldb", SYNC_DIR_FILE_EXCLUDE_DATABASE},
    {".doc", SYNC_DIR_FILE_EXCLUDE_DOCUMENT}, {".docx", SYNC_DIR_FILE_EXCLUDE_DOCUMENT},
    {".rtf", SYNC_DIR_FILE_EXCLUDE_DOCUMENT}, {".pdf", SYNC_DIR_FILE_EXCLUDE_PDF},
};

}  // namespace

void SyncDirIndex::Put(const Slot& slot) {
  std::size_t at = slot.hash & (slots_.size() - 1);
  while (slots_[at].place != kFree) at = (at + 1) & (slots_.size() - 1);
  slots_[at] = slot;
}

void SyncDirIndex::Grow() {
  std::vector<Slot> old(slots_.empty() ? kFirstSlots : slots_.size() * 2, Slot{0, kFree});
  old.swap(slots_);
  for (const Slot& slot : old) {
    if (slot.place != kFree) Put(slot);
  }
}

void SyncDirIndex::Add(const SyncDirFile* entries, int place) {
  if (used_ * 2 >= slots_.size()) Grow();
  Put({FoldedHash(entries[place].source), place});
  ++used_;
}

bool SyncDirIndex::Contains(const SyncDirFile* entries, const char* source) const {
  if (slots_.empty()) return false;
  const std::uint32_t hash = FoldedHash(source);
  for (std::size_t at = hash & (slots_.size() - 1); slots_[at].place != kFree;
       at = (at + 1) & (slots_.size() - 1)) {
    if (slots_[at].hash != hash) continue;
    const char* entry = entries[slots_[at].place].source;
    if (std::strcmp(entry, source) == 0 || tvl::EqualNoCase(entry, source)) return true;
  }
  return false;
}

void CTVLClientOpr::SyncDirFilePush(const char* source, const char* target, unsigned int size,
                                    SYNC_DIR_FILE_OPERATION operation) {
  syncDirFiles =
      static_cast<SyncDirFile*>(GrowArray(syncDirFiles, syncDirCount, sizeof(SyncDirFile), kChunk));
  SyncDirFile& entry = syncDirFiles[syncDirCount];
  tvl::CopyCut(entry.source, source);
  tvl::CopyCut(entry.target, target);
  entry.size = size;
  entry.operation = static_cast<unsigned char>(operation);
  if (syncDirIndex == nullptr) syncDirIndex = new SyncDirIndex;
  syncDirIndex->Add(syncDirFiles, syncDirCount);
  ++syncDirCount;
}

int CTVLClientOpr::SyncDirFileIsExcluded(const char* path, SYNC_DIR_FILE_EXCLUDE exclude) {
  const char* name = LastPathComponent(path);
  if (name == nullptr) name = path;
  if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) return 1;
  const char* extension = std::strrchr(name, '.');
  if (extension == nullptr) return 0;
  for (const ExcludedExtension& row : kExcluded) {
    if ((exclude & row.flag) != 0 && tvl::EqualNoCase(extension, row.extension)) return 1;
  }
  return 0;
}

int CTVLClientOpr::SyncDirFileExists(const char* path) const {
  return syncDirIndex != nullptr && syncDirIndex->Contains(syncDirFiles, path) ? 1 : 0;
}

void CTVLClientOpr::SyncDirRelease() {
  syncDirFiles = static_cast<SyncDirFile*>(SafeFree(syncDirFiles));
  syncDirCount = 0;
  delete syncDirIndex;
  syncDirIndex = nullptr;
}

void CTVLClientOpr::SyncDirTruncate(int count) {
  if (count == 0) return SyncDirRelease();
  const int kept = std::exchange(syncDirCount, 0);
  delete std::exchange(syncDirIndex, nullptr);
  syncDirIndex = new SyncDirIndex;
  for (; syncDirCount < count && syncDirCount < kept; ++syncDirCount)
    syncDirIndex->Add(syncDirFiles, syncDirCount);
}

int CTVLClientOpr::SyncPlanCount() const {
  return syncDirCount;
}

int CTVLClientOpr::SyncPlanEntry(int index, const char** source, const char** target, unsigned int* size,
                                 SYNC_DIR_FILE_OPERATION* operation) const {
  if (index < 0 || index >= syncDirCount) return 0;
  const SyncDirFile& entry = syncDirFiles[index];
  *source = entry.source;
  *target = entry.target;
  *size = entry.size;
  *operation = static_cast<SYNC_DIR_FILE_OPERATION>(entry.operation);
  return 1;
}

int CTVLClientOpr::SyncPlanTakeOut(int index) {
  if (index < 0 || index >= syncDirCount) return 0;
  syncDirFiles[index].operation = SYNC_DIR_FILE_KEEP;
  return 1;
}

void CTVLClientOpr::SyncPlanDrop() {
  SyncDirRelease();
}
