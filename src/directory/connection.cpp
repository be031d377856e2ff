#include <cstring>
#include <memory>
#include <new>

#include "base/file_helpers.h"
#include "base/fixed_text.h"
#include "base/numbers.h"
#include "base/path_helpers.h"
#include "base/text.h"
#include "directory/state.h"
#include "platform/files.h"
#include "platform/host_path.h"
#include "store/layout.h"
#include "table/engine_binding.h"
#include "table/tables_file.h"
#include "transfer/compare.h"
#include "transfer/sha1.h"
#include "transfer/version.h"

namespace {

// Stores the full form of `path` in a field. Returns false if it does not fit.
bool FullPath(const char* path, char (&field)[tvl::kMaxPath]) {
  const unsigned int length = GetFullPathNameA(path, sizeof field, field, nullptr);
  return length > 0 && length < sizeof field;
}

void ReadStoreVersion(const char* server_root, const char* version_file, unsigned int& total) {
  tvl::PathText path;
  path.Append(server_root).Append(version_file);
  tvl::Version version = {};
  const bool known = path.Fits() && tvl::ReadFileVersion(path.Text(), version);
  total = known ? static_cast<unsigned int>(VersionTotal(version.version, version.build)) : 0;
}

void SignStore(const char* server_root, char* signature) {
  tvl::FixedText<tvl::kMaxPath + 4> identity;
  identity.Append("SMB-").Append(server_root);
  Sha1OfString(identity.Text(), signature);
}

}  // namespace

CTVLClientSmbOpr::State::State(CTVLClientSmbOpr& owner, const State& other)
    : opr(owner), config(other.config) {
  std::memcpy(serverRoot, other.serverRoot, sizeof serverRoot);
}

CTVLClientSmbOpr::State& CTVLClientSmbOpr::State::operator=(const State& other) {
  if (this == &other) return *this;
  group.reset();
  connection.reset();
  config = other.config;
  std::memcpy(serverRoot, other.serverRoot, sizeof serverRoot);
  return *this;
}

CTVLClientSmbOpr::CTVLClientSmbOpr() : state(new State(*this)) {}

CTVLClientSmbOpr::CTVLClientSmbOpr(const CTVLClientSmbOpr& other)
    : CTVLClientOpr(other), state(new State(*this, *other.state)) {
  opened = 0;
  dumbMode = 0;
}

CTVLClientSmbOpr& CTVLClientSmbOpr::operator=(const CTVLClientSmbOpr& other) {
  if (this == &other) return *this;
  Close();
  CTVLClientOpr::operator=(other);
  opened = 0;
  dumbMode = 0;
  *state = *other.state;
  return *this;
}

CTVLClientSmbOpr::~CTVLClientSmbOpr() {
  CTVLClientSmbOpr::Close();
  state->connection.reset();  // still exists if a second `Open` failed
  UnloadTableEngine();
  delete state;
}

int CTVLClientSmbOpr::Open(char* /*workingDirectory*/, char* /*configFile*/, char* /*host*/,
                           unsigned int /*port*/, char* /*className*/, char* /*clientTag*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::Open(char* directory, char* configFile, char* className) try {
  state->group.reset();
  const int code = state->config.Load(configFile);
  state->previewed = false;
  shortName[0] = 0;
  longName[0] = 0;
  instanceId = 0;
  zipOnTransfert = 0;
  fileCmp = kCompareHash;
  opened = 0;
  if (code != TVL_OK) return code;
  if (const int problem = state->SettleDirectories(directory)) return problem;
  if (dumbMode == 0) CreateDirectoryA(workingDirectory, nullptr);
  opened = 1;
  state->DescribeStore();
  state->CloseTables();  // of a former opening
  FreeCtOpenedFiles();
  state->Register(className);
  state->TakeSettings();
  tvl::CopyCut(computerName, state->connection->computer);
  tvl::CopyCut(user, state->connection->user);
  return TVL_OK;
} catch (const std::bad_alloc&) {
  opened = 0;
  return TVL_ERR_ROOT_UNDEFINED;  // no configuration, for lack of memory
}

void CTVLClientSmbOpr::State::DescribeStore() {
  tvl::CopyCut(opr.updateDir, config.Get("UpdateDirectory"));
  tvl::CopyCut(opr.versionFile, config.Get("VersionFile"));
  ReadStoreVersion(serverRoot, opr.versionFile, opr.versionNumber);
  SignStore(serverRoot, opr.serverId);
}

void CTVLClientSmbOpr::State::TakeSettings() {
  opr.zipOnTransfert = config.zipOnTransfert;
  opr.fileCmp = config.fileCompare;
  tvl::CopyCut(opr.shortName, config.Get("ShortName"));
  tvl::CopyCut(opr.longName, config.Get("LongName"));
}

// Determines server root and working directory, and fills in `directory` if it is empty. Returns
// TVL_ERR_ROOT_INVALID or TVL_ERR_LOCAL_FILE if a full path does not fit with its trailing backslash, without
// which all later names would be wrong.
int CTVLClientSmbOpr::State::SettleDirectories(char* directory) {
  char* root = serverRoot;
  if (!FullPath(config.Get(tvl::kDocumentRootKey), serverRoot)) return TVL_ERR_ROOT_INVALID;
  if (*directory != 0) {
    if (!FullPath(directory, opr.workingDirectory)) return TVL_ERR_LOCAL_FILE;
  } else {
    std::memcpy(opr.workingDirectory, root, sizeof opr.workingDirectory);
    std::memcpy(directory, root, std::strlen(root) + 1);
  }
  opr.dumbMode = tvl::EqualNoCase(opr.workingDirectory, root) ? 1 : 0;
  if (AddTrailingBackslash(root) == 0) return TVL_ERR_ROOT_INVALID;
  return AddTrailingBackslash(opr.workingDirectory) == 0 ? TVL_ERR_LOCAL_FILE : TVL_OK;
}

std::unique_ptr<CConnection> CTVLClientSmbOpr::State::NewReader() const {
  if (!previewed) return nullptr;
  tvl::ObeyTablesFile(config);
  return std::make_unique<CConnection>(config.locksDir, config.procsDir, "");
}

// Registers this instance in the store, after ending the presence of a former opening.
void CTVLClientSmbOpr::State::Register(const char* className) {
  connection.reset();
  tvl::ObeyTablesFile(config);
  connection = std::make_unique<CConnection>(config.locksDir, config.procsDir, className);
  opr.instanceId = connection->AllocateInstance();
}

int CTVLClientSmbOpr::Preview(char* directory, const char* configFile) try {
  state->previewed = false;
  if (const int code = ReadConfig(configFile)) return code;
  state->TakeSettings();
  if (const int problem = state->SettleDirectories(directory)) return problem;
  if (IsDirectory(state->serverRoot) == 0) return TVL_ERR_ROOT_INVALID;
  state->DescribeStore();
  state->previewed = true;
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_ERR_ROOT_UNDEFINED;
}

int CTVLClientSmbOpr::Close() {
  if (opened == 0) return TVL_ERR_NOT_CONNECTED;
  state->group.reset();
  state->CloseTables();
  state->connection.reset();
  opened = 0;
  state->config.Clear();
  dumbMode = 0;
  UnloadTableEngine();
  return TVL_OK;
}

char* CTVLClientSmbOpr::DocumentRoot() {
  return state->config.documentRoot;
}

const char* CTVLClientSmbOpr::ServerRoot() const {
  return state->serverRoot;
}
