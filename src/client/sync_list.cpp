#include "client/sync_list.h"

#include <cstdint>
#include <cstring>

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
std::size_t FoldedHash(const char* path) {
  std::uint64_t hash = 14695981039346656037U;
  for (; *path != 0; ++path) {
    const char folded = *path >= 'A' && *path <= 'Z' ? static_cast<char>(*path - 'A' + 'a') : *path;
    hash = (hash ^ static_cast<unsigned char>(folded)) * 1099511628211U;
  }
  return static_cast<std::size_t>(hash ^ hash >> 32U);
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

std::size_t SyncDirIndex::FreeSlot(const char* source) const {
  std::size_t slot = FoldedHash(source) & (places_.size() - 1);
  while (places_[slot] != kFree) slot = (slot + 1) & (places_.size() - 1);
  return slot;
}

void SyncDirIndex::Rehash(const SyncDirFile* entries, std::size_t slots) {
  std::vector<int> old(slots, kFree);
  old.swap(places_);
  for (const int place : old) {
    if (place != kFree) places_[FreeSlot(entries[place].source)] = place;
  }
}

void SyncDirIndex::Add(const SyncDirFile* entries, int place) {
  if (places_.empty()) {
    places_.assign(kFirstSlots, kFree);
  } else if (used_ * 2 >= places_.size()) {
    Rehash(entries, places_.size() * 2);
  }
  places_[FreeSlot(entries[place].source)] = place;
  ++used_;
}

bool SyncDirIndex::Contains(const SyncDirFile* entries, const char* source) const {
  if (places_.empty()) return false;
  for (std::size_t slot = FoldedHash(source) & (places_.size() - 1); places_[slot] != kFree;
       slot = (slot + 1) & (places_.size() - 1)) {
    if (tvl::EqualNoCase(entries[places_[slot]].source, source)) return true;
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
