#include <new>

#include "config/store_layout.h"
#include "directory/state.h"

// Access to the configuration, for programs that display it.

int CTVLClientSmbOpr::ReadConfig(const char* configFile) try {
  if (opened != 0) return TVL_ERR_ALREADY_CONNECTED;
  return state->config.Read(configFile);
} catch (const std::bad_alloc&) {
  return TVL_ERR_ROOT_UNDEFINED;
}

int CTVLClientSmbOpr::StoreLayout(TVLStoreLayout* layout) try {
  if (*state->config.tmpDir == 0) return TVL_ERR_NOT_CONNECTED;
  return tvl::LayoutOf(state->config, *layout).code;
} catch (const std::bad_alloc&) {
  return TVL_ERR_NOT_CONNECTED;
}

int CTVLClientSmbOpr::ConfigCount() const {
  return state->config.entryCount;
}

const char* CTVLClientSmbOpr::ConfigName(int index) const {
  return index >= 0 && index < ConfigCount() ? state->config.entries[index].name : nullptr;
}

const char* CTVLClientSmbOpr::ConfigValue(int index) const {
  return index >= 0 && index < ConfigCount() ? state->config.entries[index].value : nullptr;
}

const char* CTVLClientSmbOpr::ConfigOrigin(int index) const {
  if (index < 0 || index >= ConfigCount()) return nullptr;
  const char* origin = state->config.entries[index].origin;
  return origin == nullptr ? "" : origin;
}

int CTVLClientSmbOpr::CheckConfig(const char* configFile, ConfigProblemCallback callback,
                                  void* userData) try {
  if (opened != 0) return TVL_ERR_ALREADY_CONNECTED;
  return state->config.Check(configFile, [&](TVL_CONFIG_PROBLEM problem, const char* key, const char* text) {
    callback(problem, key, text, userData);
  });
} catch (const std::bad_alloc&) {
  return TVL_ERR_ROOT_UNDEFINED;
}

int CTVLClientSmbOpr::ConfigFileCompare() const {
  return state->config.fileCompare;
}

int CTVLClientSmbOpr::ConfigZipOnTransfert() const {
  return state->config.zipOnTransfert;
}

int CTVLClientSmbOpr::ConfigSafeOnTransfert() const {
  return state->config.safe_on_transfert;
}
