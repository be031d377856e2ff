#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>

#include <tvlclient/tvl.h>

#include "frontend/c/handle.h"
#include "frontend/c/paths.h"

namespace {

using tvl::c::Failure;
using tvl::c::OnClient;
using tvl::c::OnDirectory;
using tvl::c::ReadOnly;

constexpr std::size_t kHashDigits = 40;

using Transfer = int (CTVLClientOpr::*)(char*, char*, int*);

// Shared by get and put.
int Move(tvlc_store* store, Transfer transfer, const char* name, const char* local, int force,
         int* transferred) {
  return OnClient(store, {name}, [&](CTVLClientOpr& client) -> int {
    int moved = force != 0 ? 1 : 0;
    const char* other = local != nullptr && *local != 0 ? local : name;
    const bool in_place = client.DumbMode() == 1;
    if (const int code = (client.*transfer)(ReadOnly(name), ReadOnly(other), &moved)) {
      store->connection->NoteRefusal();
      return code;
    }
    if (transferred != nullptr) *transferred = in_place ? 0 : moved;
    return TVL_OK;
  });
}

bool SaysMissing(int error) {
  return error == 0 || error == ENOENT || error == ENOTDIR;
}

// Parses "size in hexadecimal|40 digits".
bool ParseSignature(std::string_view signature, std::uint64_t& size, std::string_view& digits) {
  const std::size_t bar = signature.find('|');
  if (bar == std::string_view::npos || signature.size() - bar - 1 != kHashDigits) return false;
  digits = signature.substr(bar + 1);
  return std::from_chars(signature.data(), signature.data() + bar, size, 16).ec == std::errc();
}

Failure Hash(const char* path, uint64_t* file_size, char* hash) {
  if (path == nullptr || hash == nullptr) return {TVL_ERR_ARGUMENT, {}, nullptr};
  std::uint64_t size = 0;
  std::string_view digits;
  if (!ParseSignature(GetFileSignature(ReadOnly(path)), size, digits))
    return {TVL_ERR_LOCAL_FILE, tvl::TakeLastError(), nullptr};
  std::memcpy(hash, digits.data(), kHashDigits);
  hash[kHashDigits] = 0;
  if (file_size != nullptr) *file_size = size;
  return {};
}

}  // namespace

int tvlc_get(tvlc_store* store, const char* name, const char* local, int force, int* transferred) {
  return Move(store, &CTVLClientOpr::GetRemote, name, local, force, transferred);
}

int tvlc_put(tvlc_store* store, const char* name, const char* local, int force, int* transferred) {
  return Move(store, &CTVLClientOpr::PutRemote, name, local, force, transferred);
}

int tvlc_exists(tvlc_store* store, const char* name, int* exists) {
  return OnDirectory(store, {name, exists}, [&](CTVLClientSmbOpr& client) -> int {
    const int code = client.ExistsRemote(ReadOnly(name));
    if (code != TVL_OK && !SaysMissing(tvl::LastErrorCode())) return code;
    *exists = code == TVL_OK ? 1 : 0;
    return TVL_OK;
  });
}

int tvlc_compare(tvlc_store* store, const char* name, const char* local, int* equal) {
  return OnDirectory(store, {name, equal}, [&](CTVLClientSmbOpr& client) -> int {
    return client.CompareRemote(ReadOnly(name), ReadOnly(local != nullptr ? local : name), equal);
  });
}

int tvlc_hash(const char* path, uint64_t* file_size, char hash[41], tvlc_error* error) {
  return tvl::c::WithoutHandle(error, [&] { return Hash(path, file_size, hash); });
}
