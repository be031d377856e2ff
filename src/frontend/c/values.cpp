#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <tvlclient/tvlc.h>

#include "base/text.h"
#include "frontend/c/array.h"
#include "frontend/c/handle.h"
#include "frontend/c/paths.h"

namespace {

using std::string_view;
using tvl::c::Array;
using tvl::c::OnDirectory;

constexpr std::size_t kLongestValue = 2047;

bool HasControls(string_view text) {
  for (const char character : text) {
    if (static_cast<unsigned char>(character) < ' ') return true;
  }
  return false;
}

// A name that would be read as something else in a configuration.
bool IsName(string_view name) {
  return !name.empty() && !HasControls(name) && name.find('=') == string_view::npos && name.front() != ';' &&
         name.front() != '[' && name.front() != ' ' && name.back() != ' ';
}

struct Search {
  const char* name;
  std::optional<std::string> value;
};

// The first line of a name counts.
void Find(const char* name, const char* value, void* data) {
  auto& search = *static_cast<Search*>(data);
  if (!search.value && tvl::EqualNoCase(name, search.name)) search.value = value;
}

// Reads a value, which is empty if it does not exist. GetEnviron does not report that memory ran out.
int Read(CTVLClientSmbOpr& client, const char* name, std::optional<std::string>& value) {
  Search search = {name, {}};
  const int code = client.ListEnviron(Find, &search);
  value = std::move(search.value);
  return code;
}

char* Allocated(const std::string& text) {
  auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy == nullptr) throw std::bad_alloc();
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

// The operation reports no failure, so the value is read back.
int Write(CTVLClientSmbOpr& client, const char* name, const char* value) {
  if (const int code = client.PutEnviron(name, value)) return code;
  const tvl::LastError reason = tvl::TakeLastError();
  std::optional<std::string> stored;
  if (const int code = Read(client, name, stored)) return code;
  tvl::RestoreLastError(reason);
  const bool done = value == nullptr ? !stored : stored && *stored == value;
  return done ? TVL_OK : TVL_ERR_SERVER_FILE;
}

void AddValue(const char* name, const char* value, void* data) {
  auto& array = *static_cast<Array<tvlc_value>*>(data);
  array.Add({sizeof(tvlc_value), array.Keep(name), array.Keep(value)});
}

void AddPack(const TVLUpdatePack* pack, void* data) {
  auto& array = *static_cast<Array<tvlc_pack>*>(data);
  array.Add({sizeof(tvlc_pack), pack->number, array.Keep(pack->suffix), array.Keep(pack->file)});
}

}  // namespace

int tvlc_get_value(tvlc_store* store, const char* name, char** value) {
  return OnDirectory(store, {name, value}, [&](CTVLClientSmbOpr& client) -> int {
    if (!IsName(name)) return TVL_ERR_ARGUMENT;
    std::optional<std::string> text;
    if (const int code = Read(client, name, text)) return code;
    *value = text ? Allocated(*text) : nullptr;
    return TVL_OK;
  });
}

int tvlc_set_value(tvlc_store* store, const char* name, const char* value) {
  return OnDirectory(store, {name}, [&](CTVLClientSmbOpr& client) -> int {
    if (!IsName(name)) return TVL_ERR_ARGUMENT;
    if (value != nullptr && (std::strlen(value) > kLongestValue || HasControls(value)))
      return TVL_ERR_ARGUMENT;
    return Write(client, name, value);
  });
}

int tvlc_values(tvlc_store* store, tvlc_value*** rows, size_t* count) {
  return OnDirectory(store, {rows, count}, [&](CTVLClientSmbOpr& client) -> int {
    Array<tvlc_value> array;
    if (const int code = client.ListEnviron(AddValue, &array)) return code;
    *rows = array.Release(&tvlc_value::name, &tvlc_value::value);
    *count = array.Count();
    return TVL_OK;
  });
}

int tvlc_packs(tvlc_store* store, const char* prefix, tvlc_pack*** rows, size_t* count) {
  return OnDirectory(store, {prefix, rows, count}, [&](CTVLClientSmbOpr& client) -> int {
    Array<tvlc_pack> array;
    if (const int code = client.ListUpdatePacks(prefix, AddPack, &array)) return code;
    *rows = array.Release(&tvlc_pack::suffix, &tvlc_pack::file);
    *count = array.Count();
    return TVL_OK;
  });
}

void tvlc_free(void* memory) {
  std::free(memory);
}
