#include "directory/state.h"
#include "platform/ini_file.h"

// Named values in a section of the connection's configuration file, read and written key by key.

namespace {

constexpr char kSection[] = "Environments";
constexpr DWORD kValueRoom = 2048;

}  // namespace

int CTVLClientSmbOpr::GetEnviron(const char* name, const char* defaultValue, CString& value) {
  if (!state->IsAlive()) return TVL_ERR_NOT_CONNECTED;
  if (state->config.iniFile[0] == 0) return TVL_ERR_BAD_PATH;
  char text[kValueRoom];
  GetPrivateProfileStringA(kSection, name, defaultValue, text, sizeof text, state->config.iniFile);
  value = text;
  return TVL_OK;
}

int CTVLClientSmbOpr::PutEnviron(const char* name, const char* value) {
  if (!state->IsAlive()) return TVL_ERR_NOT_CONNECTED;
  if (state->config.iniFile[0] == 0) return TVL_ERR_BAD_PATH;
  WritePrivateProfileStringA(kSection, name, value, state->config.iniFile);
  return TVL_OK;
}
