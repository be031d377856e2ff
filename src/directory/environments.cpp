#include <new>

#include "directory/state.h"
#include "platform/ini_file.h"
#include "platform/last_error.h"
#include "store/layout.h"

// Named values in a section of the connection's configuration file, read and written key by key.

namespace {

constexpr DWORD kValueSize = 2048;

const char* TextOf(const char* text) {
  return text == nullptr ? "" : text;
}

}  // namespace

int CTVLClientSmbOpr::State::EnvironCode() const {
  if (!MayLook()) return TVL_ERR_NOT_CONNECTED;
  return config.iniFile[0] == 0 ? TVL_ERR_BAD_PATH : TVL_OK;
}

int CTVLClientSmbOpr::GetEnviron(const char* name, const char* defaultValue, CString& value) try {
  if (const int code = state->EnvironCode()) return code;
  char text[kValueSize];
  GetPrivateProfileStringA(tvl::kVariablesSection, TextOf(name), TextOf(defaultValue), text, sizeof text,
                           state->config.iniFile);
  value = text;
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_ERR_BAD_PATH;
}

// The interface requires 0 even if the write fails; TVLLastFileError returns the reason.
int CTVLClientSmbOpr::PutEnviron(const char* name, const char* value) {
  if (!state->IsAlive()) return TVL_ERR_NOT_CONNECTED;
  if (const int code = state->EnvironCode()) return code;
  WritePrivateProfileStringA(tvl::kVariablesSection, TextOf(name), value, state->config.iniFile);
  return TVL_OK;
}

int CTVLClientSmbOpr::ListEnviron(EnvironCallback callback, void* userData) try {
  if (const int code = state->EnvironCode()) return code;
  tvl::IniFile file;
  if (file.Read(state->config.iniFile) != 0) return TVL_ERR_BAD_PATH;
  file.VisitSection(tvl::kVariablesSection, [&](const tvl::IniKeyLine& line) {
    if (line.has_value) callback(std::string(line.name).c_str(), std::string(line.value).c_str(), userData);
    return true;
  });
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_ERR_BAD_PATH;
}
