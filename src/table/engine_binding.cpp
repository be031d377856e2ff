#include "table/engine_binding.h"

#include <atomic>
#include <cstddef>
#include <iterator>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

#include "base/fixed_text.h"
#include "platform/modules.h"
#include "platform/names.h"

namespace {

using tvl::engine::ReadMode;

// Indices into the table of functions, in the order in which the names are resolved.
enum Function : unsigned char {
  kGetLastErrorText,
  kIOpen,
  kIREOpen,
  kIClose,
  kGetLength,
  kSetCurrentRecord,
  kGetFieldValueByIdx,
  kSetFieldValueByIdx,
  kGetFieldValueByName,
  kSetFieldValueByName,
  kWriteKeys,
  kWriteRawKeys,
  kDeleteKeys,
  kReadKeyEq,
  kReadKeyGt,
  kReadKeyGtEq,
  kReadKeyLt,
  kReadKeyLtEq,
  kCreateArchive,
  kBeginBatch,  // from here on: additions, used if they exist
  kEndBatch,
  kCloseAll,
  kGetLastProblem,
  kIsStillNamed,
  kGetEngineVersion,
  kPermitTables,
  kMoveTable,
  kAdoptTable,
  kForkTable,
  kGetTableId,
  kGetDatabase,
  kListDatabaseTables,
  kNoteOrphans,
  kDropOrphan,
  kFunctions
};

constexpr const char* kNames[] = {"GetLastErrorText",
                                  "IOpen",
                                  "IREOpen",
                                  "IClose",
                                  "GetLength",
                                  "SetCurrentRecord",
                                  "GetFieldValueByIdx",
                                  "SetFieldValueByIdx",
                                  "GetFieldValueByName",
                                  "SetFieldValueByName",
                                  "WriteKeys",
                                  "WriteRawKeys",
                                  "DeleteKeys",
                                  "ReadKeyEq",
                                  "ReadKeyGt",
                                  "ReadKeyGtEq",
                                  "ReadKeyLt",
                                  "ReadKeyLtEq",
                                  "CreateArchive",
                                  "BeginBatch",
                                  "EndBatch",
                                  "CloseAll",
                                  "GetLastProblem",
                                  "IsStillNamed",
                                  "GetEngineVersion",
                                  "PermitTables",
                                  "MoveTable",
                                  "AdoptTable",
                                  "ForkTable",
                                  "GetTableId",
                                  "GetDatabase",
                                  "ListDatabaseTables",
                                  "NoteOrphans",
                                  "DropOrphan"};
static_assert(std::size(kNames) == kFunctions);

// All of this is trivially destructible, because a connection that is closed while the process exits uses it.
// The addresses are atomic, because one thread may unload the engine while another, without an open
// connection, still calls it. The code itself stays mapped.
std::mutex mutex;  // not constinit, which only some systems' mutexes can be
constinit HMODULE module_handle = nullptr;
constinit int uses = 0;
constinit std::atomic<FARPROC> addresses[kFunctions] = {};

template <typename Signature>
Signature* Address(Function function) {
  return reinterpret_cast<Signature*>(addresses[function].load(std::memory_order_acquire));
}

// Calls a function of the engine, or returns `missing` if it does not exist.
template <typename Signature, typename... Arguments>
int Call(Function function, int missing, Arguments... arguments) {
  Signature* const address = Address<Signature>(function);
  return address == nullptr ? missing : address(arguments...);
}

void ResolveAll(HMODULE module) {
  for (std::size_t i = 0; i < kFunctions; ++i) {
    addresses[i].store(GetProcAddress(module, kNames[i]), std::memory_order_release);
  }
  // Both are needed: a batch that cannot be ended must not begin.
  if (addresses[kBeginBatch].load() == nullptr) addresses[kEndBatch].store(nullptr);
  if (addresses[kEndBatch].load() == nullptr) addresses[kBeginBatch].store(nullptr);
}

// Another thread may have held `mutex` when the process forked. The data that it guards is consistent at any
// time.
void UnlockInForkedChild() {
  new (&mutex) std::mutex;
}

// Loads `name` from the folder of the file `neighbour`.
HMODULE LoadNextTo(const char* neighbour, std::string_view name) {
  const std::string_view path = neighbour;
  tvl::PathText module;
  module.Append(path.substr(0, path.rfind('\\') + 1)).Append(name);
  return module.Fits() ? LoadLibraryA(module.Text()) : nullptr;
}

HMODULE LoadFromKnownPlaces() {
  char executable[tvl::kMaxPath];
  char library[tvl::kMaxPath];
  GetModuleFileNameA(nullptr, executable, sizeof executable);
  tvl::OwnModuleFileName(library, sizeof library);
  const struct {
    const char* neighbour;
    const char* name;
  } places[] = {{executable, "vbctree.dll"},
                {executable, "vbctree.so"},
                {library, "vbctree.dll"},
                {library, "vbctree.so"},
                {library, "tvlclient\\vbctree.so"}};
  for (const auto& place : places) {
    if (HMODULE module = LoadNextTo(place.neighbour, place.name)) return module;
  }
  return nullptr;
}

// Number of reads of the calling thread that failed for another reason than "no such record". It never
// decreases.
constinit thread_local unsigned int damage_met = 0;

constexpr Function kReads[] = {kReadKeyEq, kReadKeyGt, kReadKeyGtEq, kReadKeyLt, kReadKeyLtEq};

}  // namespace

int LoadTableEngine() {
  [[maybe_unused]] static const bool registered = tvl::CallInForkedChild(UnlockInForkedChild);
  const std::lock_guard<std::mutex> guard(mutex);
  if (module_handle != nullptr) return 1;
  HMODULE module = LoadFromKnownPlaces();
  ResolveAll(module);
  module_handle = module;
  return 1;
}

void UnloadTableEngine() {
  const std::lock_guard<std::mutex> guard(mutex);
  if (module_handle == nullptr || uses > 0) return;
  if (auto* close_all = Address<void()>(kCloseAll)) close_all();
  HMODULE module = std::exchange(module_handle, nullptr);
  ResolveAll(nullptr);
  FreeLibrary(module);
}

namespace tvl {

TableEngineUse::TableEngineUse() {
  const std::lock_guard<std::mutex> guard(mutex);
  ++uses;
}

TableEngineUse::~TableEngineUse() {
  const std::lock_guard<std::mutex> guard(mutex);
  --uses;
}

namespace engine {

int Open(const char* path) {
  return Call<int(const char*)>(kIOpen, -1, path);
}

void Close(int handle) {
  Call<int(int)>(kIClose, 0, handle);
}

int GetLength(int handle, int selector) {
  return Call<int(int, int)>(::kGetLength, -1, handle, selector);
}

int Read(ReadMode mode, int handle, int keyNumber, char* key, void* record) {
  const int found = Call<int(int, int, char*, void*)>(kReads[static_cast<std::size_t>(mode)], 0, handle,
                                                      keyNumber, key, record);
  if (found == 1) return found;
  const TableProblem problem = LastProblem();
  if (problem != TableProblem::kNone && problem != TableProblem::kNotFound) ++damage_met;
  return found;
}

TableProblem LastProblem() {
  const auto problem = static_cast<TableProblem>(Call<int()>(kGetLastProblem, 0));
  return problem < TableProblem::kNone || problem > TableProblem::kUnusable ? TableProblem::kUnusable
                                                                            : problem;
}

const char* LastFailure() {
  const TableProblem problem = LastProblem();
  auto* const text = Address<const char*()>(kGetLastErrorText);
  const bool has_failed = problem != TableProblem::kNone && problem != TableProblem::kNotFound;
  return has_failed && text != nullptr ? text() : "";
}

void SetCurrentRecord(const char* schema, void* record, int recordLength) {
  Call<int(const char*, void*, int)>(kSetCurrentRecord, 0, schema, record, recordLength);
}

int GetFieldValueByName(const char* name, char* destination) {
  return Call<int(const char*, char*)>(kGetFieldValueByName, 0, name, destination);
}

void SetFieldValueByName(const char* name, const char* value) {
  Call<int(const char*, const char*)>(kSetFieldValueByName, 0, name, value);
}

int WriteKeys(int handle, const char* key1, const char* key2) {
  return Call<int(int, const char*, const char*)>(kWriteKeys, 0, handle, key1, key2);
}

int WriteRawKeys(int handle, const char* key1, const char* key2, const void* record) {
  return Call<int(int, const char*, const char*, const void*)>(kWriteRawKeys, 0, handle, key1, key2, record);
}

int DeleteKeys(int handle, const char* key1, const char* key2) {
  return Call<int(int, const char*, const char*)>(kDeleteKeys, 0, handle, key1, key2);
}

const char* Version() {
  auto* const version = Address<const char*()>(kGetEngineVersion);
  return version == nullptr ? "" : version();
}

void PermitTables(const char* folder, const char* file) {
  Call<int(const char*, const char*)>(kPermitTables, 0, folder, file);
}

int MoveTable(const char* path, int to_database) {
  return Call<int(const char*, int)>(kMoveTable, 0, path, to_database);
}

int AdoptTable(const char* path) {
  return Call<int(const char*)>(kAdoptTable, 0, path);
}

int ForkTable(const char* path) {
  return Call<int(const char*)>(kForkTable, 0, path);
}

int GetTableId(const char* file, char* id) {
  return Call<int(const char*, char*)>(kGetTableId, 0, file, id);
}

int GetDatabase(const char* folder, TVLDatabase* database) {
  return Call<int(const char*, TVLDatabase*)>(kGetDatabase, 0, folder, database);
}

int ListDatabaseTables(const char* folder, TVLDatabaseTableCallback visit, void* data) {
  return Call<int(const char*, TVLDatabaseTableCallback, void*)>(kListDatabaseTables, 0, folder, visit, data);
}

int NoteOrphans(const char* folder, const char* ids) {
  return Call<int(const char*, const char*)>(kNoteOrphans, 0, folder, ids);
}

int DropOrphan(const char* folder, const char* id, long long seconds) {
  return Call<int(const char*, const char*, long long)>(kDropOrphan, 0, folder, id, seconds);
}

int CreateArchive(const char* path, int recordLength, int key1_length, int key2_length) {
  return Call<int(const char*, int, int, int)>(kCreateArchive, 1, path, recordLength, key1_length,
                                               key2_length);
}

}  // namespace engine

// For an engine without batches, every call is a batch of its own.
TableBatch::TableBatch(int handle, Kind kind)
    : handle_(handle),
      begun_(handle >= 0 && Call<int(int, int)>(kBeginBatch, 1, handle, static_cast<int>(kind)) == 1),
      problem_(begun_ ? TableProblem::kNone : ProblemOfFailure()),
      damage_before_(damage_met) {}

// A failure that the engine does not explain leaves the table unusable.
TableProblem TableBatch::ProblemOfFailure() const {
  const TableProblem problem = handle_ < 0 ? TableProblem::kNone : engine::LastProblem();
  return problem == TableProblem::kNone ? TableProblem::kUnusable : problem;
}

TableBatch::~TableBatch() {
  static_cast<void>(End());
}

bool TableBatch::StillNamed() const {
  return begun_ && Call<int(int)>(kIsStillNamed, 1, handle_) == 1;
}

bool TableBatch::MetDamage() const {
  return damage_met != damage_before_;
}

bool TableBatch::End() {
  if (!begun_) return false;
  begun_ = false;
  const bool kept = Call<int(int)>(kEndBatch, 1, handle_) == 1;
  if (!kept) problem_ = ProblemOfFailure();
  return kept;
}

}  // namespace tvl
