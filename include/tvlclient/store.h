#ifndef TVLCLIENT_STORE_H
#define TVLCLIENT_STORE_H

// Stores themselves, rather than the files in them: creating one, checking the share it is on, and who is at
// work in it. All of this is an addition of this implementation, and C knows this header too.
//
//     TVLStoreLayout layout;
//     TVLStoreProblem problem;
//     if (TVLStorePlan("/srv/store", &layout, &problem) != TVL_OK ||
//         TVLStoreCreate(&layout, TVL_NO_GROUP, &problem) != TVL_OK)
//       Complain(problem.what, problem.path);
//
// Paths in this header are those of the system, with slashes, in texts of up to 259 bytes. The folder of a
// store has no backslash in its path. Results are codes of <tvlclient/errors.h>; nothing is thrown. Callbacks
// are called on the calling thread, and what they are called with lives until they return.
//
// Threads: any function may be called on any thread, also at the same time.

#include <tvlclient/errors.h>
#include <tvlclient/export.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  TVL_PATH_SIZE = 260,      // bytes of a path, with its terminator
  TVL_LONGEST_OBJECT = 32,  // bytes of the name of an object that can be locked, without terminator
  TVL_NO_GROUP = -1
};

// What a lock or an unlock found or did: the value that it stores in `state`.
enum TVL_LOCK_STATE {
  TVL_LOCK_FREE = 0,            // no one has the lock, or the lock table cannot be used
  TVL_LOCK_OWN = 1,             // this connection has it
  TVL_LOCK_OTHER_INSTANCE = 2,  // another instance on this computer has it
  TVL_LOCK_OTHER_COMPUTER = 3   // an instance on another computer has it
};

// Why a function failed, beyond its code.
typedef struct TVLStoreProblem {
  const char* what;          // what failed, in English; static, and never null
  int error;                 // the system's reason, an errno value; 0 if it gave none
  char path[TVL_PATH_SIZE];  // the file or folder that it is about, cut to fit; may be empty
} TVLStoreProblem;

// What a store consists of.
typedef struct TVLStoreLayout {
  char configuration[TVL_PATH_SIZE];
  char configurationLock[TVL_PATH_SIZE];  // held by those who change the configuration
  char root[TVL_PATH_SIZE];               // the document root
  char tmp[TVL_PATH_SIZE];                // the temporary folder
  char locks[TVL_PATH_SIZE];
  char procs[TVL_PATH_SIZE];  // the folder of the markers of live instances
  char lockTable[TVL_PATH_SIZE];
  int safety;  // SafeOnTransfert: how targets are written, 0 in place, 1 whole, 2 whole and synced
  int isNew;   // 1: the configuration does not exist
} TVLStoreLayout;

typedef void (*TVLPathCallback)(const char* path, void* userData);

// --- Creating a store; `problem` may be null in all of these ---

// Describes the store that TVLStoreCreate would create in `folder`, which need not exist, and creates
// nothing. Returns TVL_OK; TVL_ERR_STORE_EXISTS if a configuration exists there, whose path is then in
// `layout`, alone; TVL_ERR_BAD_PATH if a store cannot have this path; TVL_ERR_SERVER_FILE if nothing can be
// created there.
TVL_API int TVLStorePlan(const char* folder, TVLStoreLayout* layout, TVLStoreProblem* problem);

// Describes the store of a configuration, and creates nothing. Returns TVL_OK; TVL_ERR_ROOT_UNDEFINED,
// TVL_ERR_TMP_UNDEFINED or TVL_ERR_TMP_INVALID for a configuration that cannot be used; TVL_ERR_BAD_PATH if a
// path in it is too long for the names of presence markers.
TVL_API int TVLStoreRead(const char* configFile, TVLStoreLayout* layout, TVLStoreProblem* problem);

// Calls `callback` (may be null) for each part of the store that does not exist, in the order of creation.
// Returns their number, or -1 if memory ran out.
TVL_API int TVLStoreListMissing(const TVLStoreLayout* layout, TVLPathCallback callback, void* userData);

// Creates the parts of the store that do not exist, each with the rights of the folder that it is in,
// whatever the umask. A configuration that cannot be completed to a store is removed again.
//
// `groupId`: the root gets this group and the setgid bit, so that all members of the group can use the store;
// TVL_NO_GROUP leaves the root as it is. Returns TVL_OK; TVL_ERR_STORE_IN_USE if an instance is connected to
// a store with a part missing, since it may use a lock table that was moved away, and a new one would divide
// it from the others; TVL_ERR_CREATE_DIR for a folder that cannot be created or be given its rights;
// TVL_ERR_SERVER_FILE for the configuration, or if the lock table cannot be examined; TVL_ERR_DELETE_FILE if
// it cannot be created.
TVL_API int TVLStoreCreate(const TVLStoreLayout* layout, int groupId, TVLStoreProblem* problem);

// --- What is in a store ---

// What a file of a store is, as its name says.
enum TVL_FILE_KIND {
  TVL_FILE_DOCUMENT = 0,  // none of these
  TVL_FILE_MARKER = 1,    // of an instance's presence
  TVL_FILE_TABLE = 2,
  TVL_FILE_JOURNAL = 3,  // of a table: an unfinished transaction
  TVL_FILE_PART = 4,     // a target that is being written
  TVL_FILE_NEW_INI = 5   // a configuration that is being written
};

// Returns the kind of a file by its bare name or its path.
TVL_API enum TVL_FILE_KIND TVLStoreFileKind(const char* name);

// An instance, by the name of its marker. Where a file in the folder of markers is held that has another form
// of name, `computer`, `ipAddress` and `className` are null and the numbers 0.
typedef struct TVLInstance {
  const char* marker;  // the file's bare name
  const char* computer;
  const char* ipAddress;  // dotted
  const char* className;
  int instance;
  int pid;
} TVLInstance;

typedef void (*TVLInstanceCallback)(const TVLInstance* instance, void* userData);

// A file that some program keeps from being deleted or replaced.
typedef struct TVLHeldFile {
  const char* path;
  enum TVL_FILE_KIND kind;
  const TVLInstance* holder;  // of a marker; null for any other file, since the system does not report it
} TVLHeldFile;

typedef void (*TVLHeldFileCallback)(const TVLHeldFile* file, void* userData);

// Calls `callback` (may be null) for each held file at and below `path`, links not followed: those at which a
// removal would stop. Takes no lock, and the files need only be readable. On SMB a file that another computer
// holds is not seen. Returns the number of held files, or -1 if memory ran out; the walk ends early where the
// stop hook says so (TVLSetStopHook).
TVL_API int TVLListHeldFiles(const char* path, TVLHeldFileCallback callback, void* userData);

// Calls `callback` (may be null) for each part and each marker that a killed program left in the store and
// nobody holds, in the order of their paths. Returns their number, or -1 if memory ran out.
TVL_API int TVLStoreListLeftovers(const TVLStoreLayout* layout, TVLPathCallback callback, void* userData);

// Removes those files, each only if nobody holds it at that moment, and calls `callback` (may be null) for
// each file that it removed. Returns their number, or -1 if memory ran out.
TVL_API int TVLStoreRemoveLeftovers(const TVLStoreLayout* layout, TVLPathCallback callback, void* userData);

// --- Tables in a database server ---
//
// If a tables.ini next to the configuration names one, new tables of the store have their rows there, and
// their data files (.dat) only point to them. Where these functions fail with TVL_ERR_SERVER_FILE,
// TVLLastTableFailure returns the reason.

enum TVL_TABLE_PLACE { TVL_TABLE_IN_FILE = 0, TVL_TABLE_IN_DATABASE = 1 };

// The server of a store, by the names in its tables.ini.
typedef struct TVLDatabase {
  char service[64];
  char schema[64];
  int acceptsAsynchronousLocks;  // 1: the lock table may be on a server without a synchronous standby
  int hasStandby;                // 1: commits wait until a standby has them
} TVLDatabase;

// Like TVLStoreCreate for a new store, but with its lock table in the server that `database` names: writes a
// tables.ini next to the configuration first, with a new id of the store. Creates the schema if it does not
// exist. After a failure there is no tables.ini and no configuration. `hasStandby` is ignored.
TVL_API int TVLStoreCreateInDatabase(const TVLStoreLayout* layout, int groupId, const TVLDatabase* database,
                                     TVLStoreProblem* problem);

// Moves the rows of a table to its data file or to the database server. The copied rows are compared with the
// others before the data file is replaced in one step, so a killed process leaves the table as it was, or
// completely moved. `table` is the path of the data file, with or without its extension. Nobody may have the
// table open. Rows that were in the server stay there as an orphan. Returns TVL_OK or TVL_ERR_SERVER_FILE.
TVL_API int TVLStoreMoveTable(const TVLStoreLayout* layout, const char* table, enum TVL_TABLE_PLACE place);

// Concern a data file that was copied or restored, and is refused because two files may point to the same
// rows. After Adopt only this file points to them; those who have the other one open must close it. Fork
// copies the rows for the file. Return TVL_OK or TVL_ERR_SERVER_FILE.
TVL_API int TVLStoreAdoptTable(const TVLStoreLayout* layout, const char* table);
TVL_API int TVLStoreForkTable(const TVLStoreLayout* layout, const char* table);

// Describes the database server of a store. Returns TVL_OK; TVL_ERR_NOT_SUPPORTED if there is no tables.ini;
// TVL_ERR_SERVER_FILE if tables.ini is invalid or the server cannot be reached.
TVL_API int TVLStoreDatabase(const TVLStoreLayout* layout, TVLDatabase* database);

enum TVL_TABLE_STATE {
  TVL_TABLE_COMPLETE = 0,
  TVL_TABLE_ORPHAN = 1,        // no data file points to the rows
  TVL_TABLE_ROWS_MISSING = 2,  // the rows are not in the server
  TVL_TABLE_COPIED = 3         // the data file is not the one that the server knows (Adopt, Fork)
};

// A table of a store in its server.
typedef struct TVLDatabaseTable {
  const char* id;    // 32 hexadecimal digits; empty for a damaged data file
  const char* path;  // of the data file; null if there is none
  enum TVL_TABLE_STATE state;
  unsigned long long inode;  // of the data file that the server knows
  long long bytes;           // of the rows on the server's disk; negative if they are missing
  long long orphanedFor;     // seconds since the orphan was first noted; negative if it was not
} TVLDatabaseTable;

typedef void (*TVLDatabaseTableCallback)(const TVLDatabaseTable* table, void* userData);

// Calls `callback` (may be null) for each data file in the store that points to the server, in the order of
// their paths, and then for each orphan. With `notesOrphans` 1 the server notes the time for orphans that it
// has not noted before. Returns TVL_OK; TVL_ERR_NOT_SUPPORTED if there is no tables.ini; TVL_ERR_SERVER_FILE
// if the server cannot be reached, or a folder or data file cannot be read. `problem` may be null.
TVL_API int TVLStoreListDatabaseTables(const TVLStoreLayout* layout, int notesOrphans,
                                       TVLDatabaseTableCallback callback, void* userData,
                                       TVLStoreProblem* problem);

// Deletes an orphan with its rows, which must have been noted at least `seconds` ago. Returns TVL_OK or
// TVL_ERR_SERVER_FILE.
TVL_API int TVLStoreDropOrphan(const TVLStoreLayout* layout, const char* id, unsigned int seconds);

// Returns 1 if the file is a data file whose rows are in a database server, else 0.
TVL_API int TVLIsTablePointer(const char* path);
// --- Backup ---

// What a backup or its restoration has copied.
enum TVL_BACKUP_KIND {
  TVL_BACKUP_FILE = 0,
  TVL_BACKUP_FOLDER = 1,
  TVL_BACKUP_LINK = 2,     // as it is, never what it leads to
  TVL_BACKUP_TABLE = 3,    // with the rows of one moment
  TVL_BACKUP_POINTER = 4,  // a table without its rows, which are in a database server
  TVL_BACKUP_SKIPPED = 5   // left out, since it is neither file, folder nor link
};

typedef struct TVLBackupEntry {
  const char* name;  // below the document root
  enum TVL_BACKUP_KIND kind;
  unsigned long long size;  // of a file or table in bytes, else 0
} TVLBackupEntry;

typedef void (*TVLBackupCallback)(const TVLBackupEntry* entry, void* userData);

enum TVL_BACKUP_SCOPE {
  TVL_BACKUP_LOOK = 0,  // only checks and reports
  TVL_BACKUP_COPY = 1
};

// Copies a store, which may be in use, into `folder`, which must be empty or not exist: the configuration,
// the tables.ini next to it, documents and tables, with times and, as far as this user may, owners and
// access. Each file is one version of it: one that changes while it is being read is read again, for about 10
// s. Each table has the rows of one moment; clients that write to it wait while it is copied. Presence
// markers, locks and parts are left out. `callback` (may be null) is called for each name below the root.
//
// The backup appears complete: until then it is written as "<folder>.tvlpart", and what a killed process left
// there is removed by the next backup to the same folder.
//
// Returns TVL_OK; TVL_ERR_BAD_PATH if `folder` is in the store, or if a document has a name that the store
// itself needs in a restored store; TVL_ERR_STORE_IN_USE if another process is writing to the same folder;
// TVL_ERR_CREATE_DIR if something cannot be written or `folder` is not empty; TVL_ERR_SERVER_FILE if
// something cannot be read, as a table that is damaged or locked for too long; TVL_ERR_STOPPED, as the stop
// hook says (TVLSetStopHook). `problem` may be null.
TVL_API int TVLStoreBackup(const TVLStoreLayout* layout, const char* folder, enum TVL_BACKUP_SCOPE scope,
                           TVLBackupCallback callback, void* userData, TVLStoreProblem* problem);

// Makes a store of a backup in `folder`, which must be empty or not exist, and describes it in `layout`. In
// its configuration every DocumentRoot becomes `folder`, and every TmpDir the default; lock table and folder
// of markers are new. The store appears complete, like a backup. `callback` (may be null) is called as for
// one. A table in a database server is refused until TVLStoreAdoptTable or TVLStoreForkTable.
//
// Returns TVL_OK; TVL_ERR_SERVER_FILE if `backup` is not a complete backup or cannot be read;
// TVL_ERR_BAD_PATH, TVL_ERR_STORE_EXISTS and TVL_ERR_STORE_IN_USE as TVLStorePlan and TVLStoreBackup;
// TVL_ERR_ROOT_UNDEFINED and the like if the configuration cannot be used in its new place; and
// TVL_ERR_CREATE_DIR, TVL_ERR_DELETE_FILE or TVL_ERR_STOPPED as TVLStoreCreate and TVLStoreBackup. `problem`
// may be null.
TVL_API int TVLStoreRestore(const char* backup, const char* folder, enum TVL_BACKUP_SCOPE scope,
                            TVLStoreLayout* layout, TVLBackupCallback callback, void* userData,
                            TVLStoreProblem* problem);

// --- Checking a share ---

enum TVL_VERDICT { TVL_VERDICT_OK = 0, TVL_VERDICT_WARNING = 1, TVL_VERDICT_BAD = 2 };

// What one check found.
typedef struct TVLFinding {
  const char* check;  // its name
  int needed;         // 1: presence and locks cannot be trusted if the verdict is bad
  enum TVL_VERDICT verdict;
  const char* detail;
  const char* remedy;  // what to do about it; empty if the verdict is TVL_VERDICT_OK
} TVLFinding;

typedef void (*TVLFindingCallback)(const TVLFinding* finding, void* userData);

enum TVL_CHECK_SCOPE {
  TVL_CHECK_LOOK = 0,  // what can be seen without writing
  TVL_CHECK_TRY = 1  // also locks, deletions, renames and times, tried in a folder that is removed at the end
};

// Tests whether presence and locks can be trusted in `folder`, and calls `callback` for each finding. `store`
// is the store in the folder; null if there is none. With TVL_CHECK_TRY, child processes of the caller take
// locks; they have ended when the function returns.
//
// Returns TVL_OK, whatever was found; TVL_ERR_SERVER_FILE if `folder` is not a folder; TVL_ERR_CREATE_DIR if
// nothing can be written in it. `problem` may be null.
TVL_API int TVLCheckShare(const char* folder, const TVLStoreLayout* store, enum TVL_CHECK_SCOPE scope,
                          TVLFindingCallback callback, void* userData, TVLStoreProblem* problem);

// Runs one half of the checks between two computers, through files in `folder`; the other half is the same
// call with the same `name` on another computer, within five minutes. `name`: at most 32 letters, digits and
// hyphens. Each half reports what it observed of the other.
//
// Returns TVL_OK, whatever was found; TVL_ERR_BAD_PATH for another name; TVL_ERR_CREATE_DIR if nothing can be
// written; TVL_ERR_NOT_CONNECTED if the other half does not answer; TVL_ERR_STOPPED. `problem` may be null.
TVL_API int TVLCheckShareWithPeer(const char* folder, const char* name, TVLFindingCallback callback,
                                  void* userData, TVLStoreProblem* problem);

#ifdef __cplusplus
}
#endif

#endif
