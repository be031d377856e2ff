#include <tvlclient/tvlc.h>

#include "frontend/c/handle.h"
#include "frontend/c/long_work.h"
#include "frontend/c/paths.h"

namespace {

using tvl::c::LongWork;
using tvl::c::OnDirectory;
using tvl::c::ReadOnly;

struct Listing {
  const LongWork& work;
  tvlc_entry_callback callback;
  void* user_data;
  bool stopped = false;
};

// Names of a folder that are reported after a stop are dropped.
void Pass(const TVLDirEntry* entry, void* data) {
  auto& listing = *static_cast<Listing*>(data);
  if (listing.stopped) return;
  const tvlc_entry passed = {sizeof passed, entry->name, entry->isFolder,
                             entry->leftOut != TVL_LEFT_OUT_NOT ? 1 : 0};
  listing.stopped = listing.callback(&passed, listing.user_data) != 0;
  if (listing.stopped) listing.work.RequestStop();
}

// Calls an operation that takes names.
template <typename... Names>
int CallWithNames(tvlc_store* store, int (CTVLClientOpr::*operation)(Names...), const char* first,
                  const char* second) {
  return OnDirectory(store, {first, second}, [&](CTVLClientSmbOpr& client) -> int {
    if constexpr (sizeof...(Names) == 1) {
      return (client.*operation)(ReadOnly(first));
    } else {
      return (client.*operation)(ReadOnly(first), ReadOnly(second));
    }
  });
}

}  // namespace

int tvlc_list(tvlc_store* store, const char* folder, const char* pattern, tvlc_entry_callback callback,
              void* user_data) {
  return OnDirectory(store, {folder, reinterpret_cast<const void*>(callback)},
                     [&](CTVLClientSmbOpr& client) -> int {
                       const LongWork work(*store->connection, nullptr, nullptr);
                       Listing listing = {work, callback, user_data};
                       const char* names = pattern != nullptr ? pattern : "*.*";
                       const int code = client.ListRemoteDir(folder, names, Pass, &listing);
                       return code == TVL_OK && listing.stopped ? TVL_ERR_STOPPED : code;
                     });
}

int tvlc_make_folder(tvlc_store* store, const char* name) {
  return CallWithNames(store, &CTVLClientOpr::CreateServerDir, name, name);
}

int tvlc_remove_file(tvlc_store* store, const char* name) {
  return CallWithNames(store, &CTVLClientOpr::DeleteServerFile, name, name);
}

int tvlc_rename(tvlc_store* store, const char* old_name, const char* new_name) {
  return CallWithNames(store, &CTVLClientOpr::RenameServerFile, old_name, new_name);
}

int tvlc_copy_file(tvlc_store* store, const char* source, const char* target) {
  return OnDirectory(store, {source, target}, [&](CTVLClientSmbOpr& client) -> int {
    return client.CopyServer2Server(ReadOnly(source), ReadOnly(target), 0);
  });
}
