#include <algorithm>

#include <tvlclient/errors.h>
#include <tvlclient/store.h>

#include "cli/completion/candidates.h"
#include "cli/output/text.h"
#include "cli/store.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kMostCandidates = 10000;

using Candidates = std::vector<Candidate>;

void Add(Candidates& candidates, std::string text) {
  if (candidates.size() < kMostCandidates) candidates.push_back({std::move(text), ""});
}

struct FolderListing {
  ArgumentKind kind;
  std::string folder;  // as it was typed, with its slash
  Candidates candidates;
};

bool Fits(ArgumentKind kind, const TVLDirEntry& entry) {
  if (entry.isFolder != 0) return true;
  const TVL_FILE_KIND file = TVLStoreFileKind(entry.name);
  if (kind == ArgumentKind::kTable) return file == TVL_FILE_TABLE;
  return kind == ArgumentKind::kStoreFile && (file == TVL_FILE_DOCUMENT || file == TVL_FILE_TABLE);
}

void AddEntry(const TVLDirEntry* entry, void* listing_to_fill) {
  auto& listing = *static_cast<FolderListing*>(listing_to_fill);
  if (!Fits(listing.kind, *entry)) return;
  Add(listing.candidates, listing.folder + entry->name + (entry->isFolder != 0 ? "/" : ""));
}

Candidates NamesOnStore(CTVLClientSmbOpr& directory, const ParsedLine& line) {
  const std::size_t slash = line.word.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : line.word.substr(0, slash + 1);
  FolderListing listing = {line.kind, folder, {}};
  directory.ListRemoteDir(TidyName(folder).c_str(), "*.*", AddEntry, &listing);
  return listing.candidates;
}

Candidates LockNames(CTVLClientSmbOpr& directory) {
  Candidates names;
  directory.ListLocks(
      [](const TVLStandingLock* lock, void* list) { Add(*static_cast<Candidates*>(list), lock->object); },
      &names);
  return names;
}

Candidates Classes(CTVLClientSmbOpr& directory) {
  Candidates names;
  directory.ListInstances(
      "*",
      [](const TVLInstance* instance, void* list) {
        if (instance->className != nullptr) Add(*static_cast<Candidates*>(list), instance->className);
      },
      &names);
  return names;
}

Candidates Values(CTVLClientSmbOpr& directory) {
  Candidates names;
  directory.ListEnviron(
      [](const char* name, const char*, void* list) { Add(*static_cast<Candidates*>(list), name); }, &names);
  return names;
}

}  // namespace

Candidates StoreCandidates(const Options& options, const ParsedLine& line) {
  Store store(options, {}, Store::Use::kLook);
  CTVLClientSmbOpr& directory = *store.Directory();
  switch (line.kind) {
    case ArgumentKind::kStoreFile:
    case ArgumentKind::kStoreFolder:
    case ArgumentKind::kTable:
      return NamesOnStore(directory, line);
    case ArgumentKind::kLock:
      return LockNames(directory);
    case ArgumentKind::kClass:
      return Classes(directory);
    case ArgumentKind::kValue:
      return Values(directory);
    default:
      return {};
  }
}

}  // namespace tvl::cli
