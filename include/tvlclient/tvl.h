#ifndef TVLCLIENT_TVL_H
#define TVLCLIENT_TVL_H

// The free functions that can be used from C. C++ programs include <tvlclient/tvlclient.h>, which includes
// them too.
//
// They use one current connection per process, which is not accessible otherwise:
//
//     char directory[260] = "work";
//     int moved = 0;
//     if (TVLConnect2Dir(directory, "store.ini", "demo") == TVL_OK) {
//       TVLGetFile("docs/a.doc", "", &moved);
//       TVLCloseConnection();
//     }
//
// Texts are zero-terminated bytes. Paths have at most 260 bytes including the terminator, and both kinds of
// slashes are allowed. Results are codes of <tvlclient/errors.h>.
//
// Threads: the current connection belongs to the thread that opened it. Functions may call the application's
// pump hook (TVLSetPumpHook), which must not use the connection.

#include <tvlclient/errors.h>
#include <tvlclient/export.h>
#include <tvlclient/library_version.h>

#ifdef __cplusplus
extern "C" {
#endif

// Connects the process to a store that is a directory tree.
//
// `workingDirectory` is the folder for local files; it is created if its parent exists. If it is empty, the
// store's own folder is used in place and nothing is transferred; the buffer, which must have 260 bytes, is
// then filled in. `configFile` is the INI file of the store. `className` is the client class, of which 4
// characters are used. Returns TVL_OK, TVL_ERR_ALREADY_CONNECTED, TVL_ERR_ROOT_UNDEFINED,
// TVL_ERR_ROOT_INVALID, TVL_ERR_TMP_UNDEFINED or TVL_ERR_TMP_INVALID for a configuration that cannot be used,
// or TVL_ERR_LOCAL_FILE if the full path of the working directory is too long.
TVL_API int TVLConnect2Dir(char* workingDirectory, char* configFile, char* className);

// Connects the process to a store that a TCP server serves.
//
// `workingDirectory` is the folder for local files; it is created if its parent exists. If it is empty or its
// full path is too long, the connection is opened, but every transfer returns TVL_ERR_LOCAL_FILE.
// `configFile` is not read: the server sends the settings. `host` is a name or an address. `clientTag` is
// sent to the server unchanged. Returns TVL_OK, TVL_ERR_ALREADY_CONNECTED, TVL_ERR_TCP_CONNECT if the server
// cannot be reached, TVL_ERR_TCP_SEND, TVL_ERR_TCP_RECEIVE, or the code with which the server refuses.
TVL_API int TVLConnect2Tcp(char* workingDirectory, char* configFile, char* host, unsigned int port,
                           char* className, char* clientTag);

// Ends the current connection with its presence and its locks. Returns TVL_OK, or TVL_ERR_NOT_CONNECTED.
TVL_API int TVLCloseConnection(void);

// Returns the names of the store and the number of this instance in it.
//
// `shortName` is a buffer of 64 bytes and `longName` one of 256 bytes. Each pointer may be null. Returns
// TVL_OK, or TVL_ERR_NOT_CONNECTED.
TVL_API int TVLConnectionInfos(char* shortName, char* longName, int* instanceId);

// Asks for the lock on `object`, a name of 1 to 32 bytes.
//
// A result of TVL_OK does not mean that the object was locked; `state` does: 1 this instance holds the lock,
// 2 another instance on this computer holds it, 3 another computer holds it, 0 the lock table cannot be used.
// The other outputs describe the owner; `computer` is a buffer of 64 bytes, `ipAddress` of 16 and `user` of
// 65. Each output may be null. All outputs are cleared first, even if the result is TVL_ERR_NOT_CONNECTED.
//
// A connection whose marker could not be created has no presence. It gets state 1 too, but other clients
// ignore its lock. Before relying on a lock, call TVLIsPresent, or TVLHoldsLock after locking.
TVL_API int TVLLockObject(char* object, int* state, char* computer, int* instance, int* pid, char* ipAddress,
                          char* user);

// Releases the lock on `object` if this instance holds it; never removes the lock of another instance.
//
// The outputs are those of TVLLockObject after the attempt; `state` 0 means that the object is not locked.
TVL_API int TVLUnlockObject(char* object, int* state, char* computer, int* instance, int* pid,
                            char* ipAddress, char* user);

// Fetches `remoteName` of the store as `localName` below the working directory.
//
// A null or empty `localName` means the same name. `transferred` must not be null. In: a value other than 0
// forces the transfer; 0 lets the store's compare policy decide. Out: 1 if the file was copied, 0 if both
// copies were the same; unchanged after a failure, and if store and working directory are the same folder.
// Creates missing folders. Returns TVL_OK, TVL_ERR_NOT_CONNECTED, TVL_ERR_SERVER_FILE, TVL_ERR_COPY,
// TVL_ERR_ZIP or TVL_ERR_UNZIP; over TCP also TVL_ERR_TCP_SEND, TVL_ERR_TCP_RECEIVE, TVL_ERR_LOCAL_FILE and
// any code that the server sends.
TVL_API int TVLGetFile(char* remoteName, char* localName, int* transferred);

// Stores `localName` of the working directory as `remoteName`. Arguments, `transferred` and results are as in
// TVLGetFile; note that the name in the store comes first here too. For a local folder, only creates a folder
// on a directory store; over TCP, returns TVL_ERR_LOCAL_FILE.
TVL_API int TVLPutFile(char* remoteName, char* localName, int* transferred);

// Returns the Italian text of a code, in Latin-1; "Errore sconosciuto" for an unknown code. The text is valid
// as long as the library is loaded. Any thread.
TVL_API char* TVLGetErrorString(int code);

// Returns size and SHA-1 of the file at `path`: the size in hexadecimal, a bar and 40 hexadecimal digits; "@"
// if the file cannot be read. The text is valid until the next call by the same thread.
TVL_API char* GetFileSignature(char* path);

// Read version, build and total (see version.h for their format) from the version resource of a PE
// executable, or from a store's version file. Outputs may be null; they are 0 if nothing was found. Return 1
// if the resource or the file could be read, else 0. Any thread.
TVL_API int TVLGetVersionFromTavolisWinExe(char* path, int* version, int* build, int* total);
TVL_API int TVLGetVersionFromFile(char* path, int* version, int* build, int* total);

// --- Additions of this implementation ---

// Returns the version of the library that the program runs with: 10203 is version 1.2.3. TVLCLIENT_VERSION is
// the version of the headers that it was compiled with. Any thread.
TVL_API int TVLLibraryVersion(void);

// Returns 1 if the current connection is present in the store, else 0, including if there is no connection.
// Without presence other clients ignore its locks, although TVLLockObject reports state 1. Over TCP, presence
// lasts as long as the connection.
TVL_API int TVLIsPresent(void);

// Returns 1 if other clients see the current connection as the owner of the lock on `object`, else 0,
// including if there is no connection. Changes nothing. On a directory store it reads marker and lock table,
// and waits up to 10 s for a busy table. Over TCP it never waits; 1 means that the connection is alive and
// the server's last answer for this object was 1.
TVL_API int TVLHoldsLock(const char* object);

// Runs one iteration of the application's event loop. Must not block.
typedef void (*TVLPumpHook)(void* userData);

// Sets a hook that long operations call regularly with `userData`, so that the application can process
// events. Null removes the hook. It belongs to the calling thread and is called on this thread only.
TVL_API void TVLSetPumpHook(TVLPumpHook hook, void* userData);

// Sets how all connections of the process write files fetched over TCP: 0, the default, in place; 1 to a new
// file that is then renamed to the target, so that nobody sees an incomplete file; 2 as 1, and synced to the
// disk before the call returns. A directory connection has this setting in its configuration
// (SafeOnTransfert). Any thread.
TVL_API void TVLSetSafeTransfers(int level);

// Called between two entries of a long operation. Returns 0 to continue, any other value to stop.
typedef int (*TVLStopHook)(void* userData);

// Sets a hook that is called with `userData` between two entries when a tree is copied, removed, measured by
// SizeofDosDir or synchronized. If it returns a value other than 0, the operation ends there with
// TVL_ERR_STOPPED (SizeofDosDir returns the sum so far). What was done so far stays; SyncDirOpen... then
// plans nothing. Null removes the hook. It belongs to the calling thread and is called on this thread only.
TVL_API void TVLSetStopHook(TVLStopHook hook, void* userData);

// Sets the maximum time for which a TCP connection waits while the server sends nothing; 0, the default,
// means no limit. After that the connection is lost, and the operation returns TVL_ERR_TCP_CONNECT,
// TVL_ERR_TCP_SEND or TVL_ERR_TCP_RECEIVE. Looking up the name of a host is not covered.
//
// Applies to all connections of the process. May be called on any thread and in signal handlers: if a signal
// interrupts a wait of the thread, the new limit takes effect at once.
TVL_API void TVLSetTimeout(unsigned int seconds);

// Sets how many chunks gets and puts over TCP may have in transit beyond the one whose answer is awaited, at
// most 8. With 0, the default, each chunk waits for the answer to the previous one, which takes most of the
// time on a line with a long round-trip time. Servers that do not support a window are used without one.
//
// Applies to all connections of the process that are opened from now on. Any thread.
TVL_API void TVLSetTransferWindow(unsigned int chunks);

// Returns why the last operation of the calling thread on a file or a connection failed: the operating
// system's error number (errno), or 0 if none has failed since the last call. `path`, a buffer of `pathSize`
// bytes that may be null, receives the name of the file, cut to fit, or an empty text for a connection. The
// call clears the error, so call it once before an operation and once after.
TVL_API int TVLLastFileError(char* path, unsigned int pathSize);

// Returns why the last operation of the calling thread on a table failed, in the words of the table engine;
// an empty text if it did not fail, if it only found no record, or if the engine reports no reasons. The text
// is valid until the thread's next operation on a table.
TVL_API const char* TVLLastTableFailure(void);

// Returns the versions of the table engine and of its SQLite, such as "1.0.0 (SQLite 3.40.1)"; empty if the
// engine cannot be loaded or reports none. Loads the engine. The text is never freed. Any thread.
TVL_API const char* TVLEngineVersion(void);

#ifdef __cplusplus
}
#endif

#endif
