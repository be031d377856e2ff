#ifndef TVLCLIENT_TVLC_H
#define TVLCLIENT_TVLC_H

// The C interface with handles: any number of stores per process, for C99 and for languages that bind to C.
//
//     tvlc_error error = {.size = sizeof error};
//     tvlc_store* store = NULL;
//     if (tvlc_open_directory(&store, "/srv/store/tvl.ini", "desk", "demo", &error) != TVL_OK) {
//       fprintf(stderr, "%s\n", error.text);
//       return 1;
//     }
//     if (tvlc_get(store, "docs/a.txt", NULL, 0, NULL) != TVL_OK) {
//       tvlc_last_error(store, &error);
//       fprintf(stderr, "%s: %s\n", error.text, error.path);
//     }
//     tvlc_close(store);
//
// Results. Functions return TVL_OK or another code of <tvlclient/errors.h>, unless documented otherwise. A
// null handle or a null argument that is not marked as optional returns TVL_ERR_ARGUMENT. Outputs are
// unchanged after a failure, unless documented otherwise, and those marked as optional may be null. An
// operation that a server does not offer returns TVL_ERR_NOT_SUPPORTED.
//
// Errors. A store keeps its last failure, also those of its plans, tables and record sets, until the next
// failure. It does not depend on threads. Functions without a handle write their failure to `error`, which is
// optional.
//
// Texts are zero-terminated bytes. Names and paths are passed to the file system unchanged, which means UTF-8
// on a usual system. Both kinds of slashes separate folders; paths that this interface returns have slashes.
// A path has at most 259 bytes. Names in a store are relative to the store, and local names to the working
// directory.
//
// Ownership. A handle belongs to the caller until its close function, which accepts null. Plans, tables and
// record sets may be closed before or after their store; after it, their operations return
// TVL_ERR_NOT_CONNECTED. Arrays and texts that a function allocates are released by one tvlc_free. Callbacks
// borrow their arguments until they return.
//
// Structures begin with their size, so that they can grow in later versions. Set `size` to the size of the
// structure before passing one; the library fills in as much as fits.
//
// Threads. A store and everything opened on it may be used by any thread: one call runs at a time, others
// wait. To read the error of a call while other threads use the same store, hold a lock of your own around
// both. Closing a handle while another thread uses it is not allowed. Callbacks run on the calling thread
// inside the call. Inside a callback, every function on the same store, except tvlc_last_error and tvlc_stop,
// returns TVL_ERR_BUSY. Callbacks must return; C++ exceptions and longjmp must not leave them.
//
// Processes. A handle belongs to the process that opened it. In a forked child its operations return
// TVL_ERR_NOT_CONNECTED and closing it frees memory only: presence and locks stay with the parent.

#include <stddef.h>
#include <stdint.h>

#include <tvlclient/errors.h>
#include <tvlclient/export.h>

#ifdef __cplusplus
extern "C" {
#endif

// --- Errors and memory ---

typedef struct tvlc_error {
  size_t size;
  int code;          // TVL_OK if nothing has failed
  int system_error;  // errno of the system's reason; 0 if there is none
  char path[1024];   // the file or folder that failed, cut to fit; empty if unknown
  char text[256];    // English, without the path
} tvlc_error;

// Returns the English text of a code, which is never freed. Any thread.
TVL_API const char* tvlc_error_text(int code);

// Frees an array or a text that this interface allocated. Null is allowed.
TVL_API void tvlc_free(void* memory);

// --- Stores ---

typedef struct tvlc_store tvlc_store;

// Opens a store that is a directory tree, by its configuration file. `work`, optional, is the working
// directory; it is created if its parent exists. Without one, the store's files are used in place and nothing
// is transferred. `class_name`, optional, is the client class, of which 4 bytes are used; default "tvlc".
TVL_API int tvlc_open_directory(tvlc_store** store, const char* config_file, const char* work,
                                const char* class_name, tvlc_error* error);

// Opens a store that a server serves. Without `work`, every transfer fails with TVL_ERR_LOCAL_FILE. `tag`,
// optional, identifies the client to the server. Time limit, safe writes and transfer window are set for all
// connections of the process by TVLSetTimeout, TVLSetSafeTransfers and TVLSetTransferWindow
// (<tvlclient/tvl.h>).
//
// A server offers transfers, locks and presence: tvlc_get, tvlc_put, tvlc_lock, tvlc_unlock, tvlc_holds,
// tvlc_is_present, tvlc_describe.
TVL_API int tvlc_open_server(tvlc_store** store, const char* host, uint16_t port, const char* work,
                             const char* class_name, const char* tag, tvlc_error* error);

// Ends the connection with its presence and its locks, and frees the handle, unless it returns TVL_ERR_BUSY.
TVL_API int tvlc_close(tvlc_store* store);

// Copies the last failure of a store to `error` and returns its code.
TVL_API int tvlc_last_error(tvlc_store* store, tvlc_error* error);

// With `on` 1, long operations of the store end between two files with TVL_ERR_STOPPED, until it is set to 0.
// May be called on any thread at any time, and in a signal handler.
TVL_API void tvlc_stop(tvlc_store* store, int on);

typedef struct tvlc_store_info {
  size_t size;
  int is_server;
  int in_place;          // 1: there is no working directory of its own, so nothing is transferred
  int instance;          // number of this instance
  int compares;          // how files are compared: 0 not at all, 1 by hash, 2 by time
  unsigned int version;  // total of the store's version; 0 if it has none
  char short_name[64];
  char long_name[256];
  char computer[128];
  char user[64];
  char root[260];           // of a directory store
  char work[260];           // full path of the working directory
  char server_version[32];  // of a server
} tvlc_store_info;

TVL_API int tvlc_describe(tvlc_store* store, tvlc_store_info* info);

// --- Files ---

// Fetches `name` as `local` (optional: the same name), or stores `local` as `name`, and creates missing
// folders. A file that is the same on both sides is transferred only with `force` 1. `transferred`
// (optional): 1 if the file was copied, else 0. Putting a local folder only creates a folder in the store.
TVL_API int tvlc_get(tvlc_store* store, const char* name, const char* local, int force, int* transferred);
TVL_API int tvlc_put(tvlc_store* store, const char* name, const char* local, int force, int* transferred);

// Stores 1 in `exists` if the store has a file or folder of that name, else 0.
TVL_API int tvlc_exists(tvlc_store* store, const char* name, int* exists);

// Stores 1 in `equal` if the store's compare policy finds both files equal, else 0, also if one is missing.
TVL_API int tvlc_compare(tvlc_store* store, const char* name, const char* local, int* equal);

// Stores size (optional) and SHA-1, 40 hexadecimal digits, of a local file. `path` is a path of the system.
TVL_API int tvlc_hash(const char* path, uint64_t* file_size, char hash[41], tvlc_error* error);

// --- The store's tree ---

typedef struct tvlc_entry {
  size_t size;
  const char* name;
  int is_folder;
  int is_left_out;  // 1: no path can express the name, or it is a link to a parent folder
} tvlc_entry;

// Returns 0 to continue, any other value to stop.
typedef int (*tvlc_entry_callback)(const tvlc_entry* entry, void* user_data);

// Calls `callback` for each name in a folder ("" is the store itself) that matches `pattern` (optional, with
// `*` and `?`; default all).
TVL_API int tvlc_list(tvlc_store* store, const char* folder, const char* pattern,
                      tvlc_entry_callback callback, void* user_data);

// Make a folder, remove a file, rename a file or folder. The working directory mirrors the store: unless it
// is the store itself, these functions and tvlc_remove_tree change the file or folder of the same name there
// too, if there is one.
TVL_API int tvlc_make_folder(tvlc_store* store, const char* name);
TVL_API int tvlc_remove_file(tvlc_store* store, const char* name);
TVL_API int tvlc_rename(tvlc_store* store, const char* old_name, const char* new_name);

// Copies a file within the store, and creates missing folders.
TVL_API int tvlc_copy_file(tvlc_store* store, const char* source, const char* target);

// Progress of a long operation, called for each file and folder reached; `size` has 64 bits and is 0 for a
// folder. Returns 0 to continue, any other value to stop: the operation then ends with TVL_ERR_STOPPED, and
// what was done so far stays.
typedef int (*tvlc_progress)(const char* path, uint64_t size, void* user_data);

// Copy a tree within the store, from the store, or into the store. `progress` is optional. A file or folder
// that cannot be copied does not end the copy: the result is the code of the first failure, and `failures`
// (optional) receives their number, also then. `local` may be a full path too, and must be one without a
// working directory.
TVL_API int tvlc_copy_tree(tvlc_store* store, const char* source, const char* target, tvlc_progress progress,
                           void* user_data, size_t* failures);
TVL_API int tvlc_get_tree(tvlc_store* store, const char* name, const char* local, tvlc_progress progress,
                          void* user_data, size_t* failures);
TVL_API int tvlc_put_tree(tvlc_store* store, const char* name, const char* local, tvlc_progress progress,
                          void* user_data, size_t* failures);

// Removes a file or a tree of the store up to the first failure. Links are removed, not followed. A name that
// does not exist is not a failure. The store itself and names with `..` are refused with TVL_ERR_BAD_PATH.
TVL_API int tvlc_remove_tree(tvlc_store* store, const char* name, tvlc_progress progress, void* user_data);

// --- Synchronization: a plan is made, may be changed, and is carried out once ---

typedef struct tvlc_sync tvlc_sync;

enum tvlc_sync_exclude {
  TVLC_EXCLUDE_NONE = 0,
  TVLC_EXCLUDE_DATABASE = 1,  // ".mdb", ".ldb"
  TVLC_EXCLUDE_DOCUMENT = 2,  // ".doc", ".docx", ".rtf"
  TVLC_EXCLUDE_PDF = 4        // ".pdf"
};

enum tvlc_sync_operation {
  TVLC_SYNC_KEEP = 0,     // equal on both sides
  TVLC_SYNC_DELETE = 1,   // only in the target: to be deleted
  TVLC_SYNC_FOLDER = 2,   // a pair of folders; the target's is created
  TVLC_SYNC_COPY = 3,     // a file to be copied
  TVLC_SYNC_LEFT_OUT = 4  // a name that cannot be used, see tvlc_entry; nothing is done for it
};

typedef struct tvlc_sync_entry {
  size_t size;
  int operation;   // of enum tvlc_sync_operation
  int is_removed;  // 1 after tvlc_sync_remove_entry
  uint64_t bytes;  // of a file to keep or to copy
  const char* source;
  const char* target;
} tvlc_sync_entry;

// Plan how to make a local folder equal to one of the store (pull), or the reverse (push). Nothing is changed
// yet. `pattern` is optional; `exclude` is a sum of enum tvlc_sync_exclude. A store has one plan at a time
// that is not carried out yet: another one returns TVL_ERR_BUSY.
TVL_API int tvlc_sync_pull(tvlc_store* store, const char* name, const char* local, const char* pattern,
                           int exclude, tvlc_sync** sync);
TVL_API int tvlc_sync_push(tvlc_store* store, const char* name, const char* local, const char* pattern,
                           int exclude, tvlc_sync** sync);

TVL_API int tvlc_sync_count(tvlc_sync* sync, size_t* count);
// The texts of the entry belong to the plan.
TVL_API int tvlc_sync_get_entry(tvlc_sync* sync, size_t index, tvlc_sync_entry* entry);
// Nothing is done for an entry that is removed, which keeps its index.
TVL_API int tvlc_sync_remove_entry(tvlc_sync* sync, size_t index);

// Carries out the plan. `progress`, optional, is called for each file after its copy. Returns the code of the
// last failure; each entry has its own result. A plan that was carried out before returns TVL_ERR_BUSY.
TVL_API int tvlc_sync_run(tvlc_sync* sync, tvlc_progress progress, void* user_data);

// Stores 1 in `done` if the entry was carried out, else 0, and its result in `error`.
TVL_API int tvlc_sync_result(tvlc_sync* sync, size_t index, int* done, tvlc_error* error);

TVL_API int tvlc_sync_close(tvlc_sync* sync);

// --- Locks and presence ---

typedef struct tvlc_owner {
  size_t size;
  int instance;
  int pid;
  char computer[64];
  char address[16];
  char user[72];
} tvlc_owner;

// Asks for the lock on `object`, a name of 1 to 32 bytes, and never waits for its owner. Returns TVL_OK only
// if this connection has the lock and other clients respect it; TVL_ERR_LOCKED if another instance has it;
// TVL_ERR_NO_PRESENCE if other clients would ignore the lock, which is then released; TVL_ERR_SERVER_FILE if
// the lock table cannot be used. `owner`, optional, describes the owner after TVL_OK and TVL_ERR_LOCKED.
TVL_API int tvlc_lock(tvlc_store* store, const char* object, tvlc_owner* owner);

// Returns TVL_OK if nobody has the lock afterwards, or TVL_ERR_LOCKED if another instance has it, with its
// `owner` (optional).
TVL_API int tvlc_unlock(tvlc_store* store, const char* object, tvlc_owner* owner);

// Stores 1 in `holds` if other clients see this connection as the owner of the lock, else 0. Changes nothing.
TVL_API int tvlc_holds(tvlc_store* store, const char* object, int* holds);

// Stores 1 in `present` if this connection is present in the store, else 0. Over TCP, presence lasts as long
// as the connection.
TVL_API int tvlc_is_present(tvlc_store* store, int* present);

typedef struct tvlc_lock_row {
  size_t size;
  const char* object;
  const char* computer;
  const char* address;
  const char* class_name;
  const char* user;
  int instance;
  int pid;
  int is_alive;  // 0: the owner is dead, and the next client that asks gets the lock
} tvlc_lock_row;

typedef struct tvlc_instance {
  size_t size;
  const char* computer;
  const char* address;
  const char* class_name;
  int instance;
  int pid;
} tvlc_instance;

// List the existing locks, and the other live instances of a class (optional; default all), as an array of
// pointers that is released by one tvlc_free.
TVL_API int tvlc_locks(tvlc_store* store, tvlc_lock_row*** rows, size_t* count);
TVL_API int tvlc_instances(tvlc_store* store, const char* class_name, tvlc_instance*** rows, size_t* count);

// --- Values and update packs ---

typedef struct tvlc_value {
  size_t size;
  const char* name;
  const char* value;
} tvlc_value;

typedef struct tvlc_pack {
  size_t size;
  int number;
  const char* suffix;  // may be empty
  const char* file;
} tvlc_pack;

// Stores a copy of a value in `value`, to be released by tvlc_free; null if there is no such value.
TVL_API int tvlc_get_value(tvlc_store* store, const char* name, char** value);
// Sets a value, one line of at most 2,047 bytes; null deletes it. Returns TVL_ERR_SERVER_FILE if it is not
// stored as it was passed.
TVL_API int tvlc_set_value(tvlc_store* store, const char* name, const char* value);

// List all values, and the update packs with a prefix, as an array that is released by one tvlc_free.
TVL_API int tvlc_values(tvlc_store* store, tvlc_value*** rows, size_t* count);
TVL_API int tvlc_packs(tvlc_store* store, const char* prefix, tvlc_pack*** rows, size_t* count);

// --- Tables: records of one length with a unique key 1 and an optional key 2 ---

typedef struct tvlc_table tvlc_table;
typedef struct tvlc_records tvlc_records;

typedef struct tvlc_table_info {
  size_t size;
  size_t record_length;
  size_t key1_length;
  size_t key2_length;
} tvlc_table_info;

TVL_API int tvlc_table_open(tvlc_store* store, const char* name, tvlc_table** table);
// Creates a table and opens it. With `replace` 1, an existing one is deleted with its rows; else it is a
// failure, TVL_ERR_DELETE_FILE. A record has 1 to 6,143 bytes, key 1 has 1 to 255, key 2 has 0 to 255.
TVL_API int tvlc_table_make(tvlc_store* store, const char* name, size_t record_length, size_t key1_length,
                            size_t key2_length, int replace, tvlc_table** table);
TVL_API int tvlc_table_close(tvlc_table* table);
TVL_API int tvlc_table_describe(tvlc_table* table, tvlc_table_info* info);

// Replaces the rows in `records` by those of the table whose key 1 or key 2 (`key_number` 1 or 2) is one of
// the `keys`, or begins with one of them if `by_prefix` is 1. Without `keys`, reads all rows. Keys of up to
// 1,023 bytes in total are read as one snapshot. Only the key that was searched is filled in; the other is
// blank. Returns TVL_ERR_RS_READ, with unchanged rows, if the table is damaged.
TVL_API int tvlc_table_read(tvlc_table* table, int key_number, int by_prefix, const char* const* keys,
                            size_t count, tvlc_records* records);

// Writes all rows of `records`, which must belong to a table of the same lengths, in one transaction. A row
// replaces the one with the same key 1, and a blank key 2 then leaves the key 2 of that row as it was. A
// blank key 1 is refused. After TVL_ERR_RS_WRITE, the rows before the one that failed are written.
TVL_API int tvlc_table_write(tvlc_table* table, tvlc_records* records);

// Deletes the rows with these keys 1, or those that begin with one of them, in one transaction. Returns
// TVL_ERR_RS_DELETE at the first key that does not exist; the rows before it are deleted. A prefix without
// rows is not a failure.
TVL_API int tvlc_table_delete(tvlc_table* table, int by_prefix, const char* const* keys, size_t count);

// --- Record sets: rows in memory ---

typedef struct tvlc_field {
  size_t size;
  char name[64];  // in upper case
  char type;      // 'D' text, 'F' number
  int length;     // bytes of a text, digits before the point of a number
  int decimals;
  size_t offset;  // in the record
  size_t bytes;
} tvlc_field;

// Stores the number of bytes that the fields of a schema take in a record. A schema lists the fields in the
// order of the record, separated by blanks, as name-Dlength (text) or name-Flength.decimals (number). Returns
// TVL_ERR_RS_FORMAT if it is invalid.
TVL_API int tvlc_schema_length(const char* schema, size_t* length);

// Creates an empty record set for rows of a table. `schema`, optional, describes the fields; without one,
// records are bytes. Returns TVL_ERR_RS_FORMAT for a schema that is invalid or does not fit.
TVL_API int tvlc_records_new(tvlc_table* table, const char* schema, tvlc_records** records);
TVL_API int tvlc_records_close(tvlc_records* records);

TVL_API int tvlc_records_count(tvlc_records* records, size_t* count);
TVL_API int tvlc_records_clear(tvlc_records* records);
// Appends a row and stores its index in `row` (optional). `key2` is optional. `record` has the length of a
// record; null means blanks, which number fields read as 0. A key that is too long is refused, not cut.
TVL_API int tvlc_records_add(tvlc_records* records, const char* key1, const char* key2, const void* record,
                             size_t record_size, size_t* row);

// Copy the key (`key_number` 1 or 2) or the record of a row to a buffer, which must be large enough: the
// length of the key + 1, or the length of the record. Trailing blanks of a key are dropped.
TVL_API int tvlc_records_key(tvlc_records* records, size_t row, int key_number, char* buffer, size_t size);
TVL_API int tvlc_records_bytes(tvlc_records* records, size_t row, void* buffer, size_t size);

TVL_API int tvlc_records_field_count(tvlc_records* records, size_t* count);
TVL_API int tvlc_records_field(tvlc_records* records, size_t index, tvlc_field* field);

// Copy a field, by its name regardless of case, to a buffer that must be large enough: 128 bytes are enough
// for a number, and its length + 1 for a text; or store its integer part. Trailing blanks are dropped. An
// unknown name returns TVL_ERR_ARGUMENT, bytes that are not a number TVL_ERR_RS_FORMAT.
TVL_API int tvlc_records_get_text(tvlc_records* records, size_t row, const char* field, char* buffer,
                                  size_t size);
TVL_API int tvlc_records_get_integer(tvlc_records* records, size_t row, const char* field, int64_t* value);

// Set a field. A number as a text consists of digits with an optional leading "-" and an optional point after
// at least one digit. A value that does not fit its field unchanged returns TVL_ERR_RS_FORMAT.
TVL_API int tvlc_records_set_text(tvlc_records* records, size_t row, const char* field, const char* value);
TVL_API int tvlc_records_set_integer(tvlc_records* records, size_t row, const char* field, int64_t value);

// --- Making and checking a store; see <tvlclient/store.h> for more. Paths are those of the system ---

// Creates a store in `folder`, which need not exist. `group_id`: the root gets this group and the setgid bit,
// so that all members can use the store; -1 leaves it as it is. Returns TVL_ERR_STORE_EXISTS if there is one.
TVL_API int tvlc_make_store(const char* folder, int group_id, tvlc_error* error);

typedef struct tvlc_finding {
  size_t size;
  const char* check;
  int needed;   // 1: presence and locks cannot be trusted if the verdict is bad
  int verdict;  // 0 ok, 1 warning, 2 bad
  const char* detail;
  const char* remedy;  // may be empty
} tvlc_finding;

typedef void (*tvlc_finding_callback)(const tvlc_finding* finding, void* user_data);

// Tests whether presence and locks can be trusted in `folder`, with the store in it if there is one, and
// calls `callback` for each finding. With `try_out` 1, also tries locks, deletions and renames in a folder
// that is removed at the end, with child processes. Returns TVL_OK, regardless of the findings.
TVL_API int tvlc_check_store(const char* folder, int try_out, tvlc_finding_callback callback, void* user_data,
                             tvlc_error* error);

#ifdef __cplusplus
}
#endif

#endif
