#ifndef TVLCLIENT_TVL_H
#define TVLCLIENT_TVL_H

// The free functions whose types C knows. C++ programs include <tvlclient/tvlclient.h>, which brings them
// too.
//
// They serve one current connection per process, which they never hand out:
//
//     char directory[260] = "work";
//     int moved = 0;
//     if (TVLConnect2Dir(directory, "store.ini", "demo") == TVL_OK) {
//       TVLGetFile("docs/a.doc", "", &moved);
//       TVLCloseConnection();
//     }
//
// Texts are zero-terminated bytes, paths take 260 bytes with the terminator, and either slash may stand in
// them. Results are codes of <tvlclient/errors.h>.
//
// Threads: the current connection serves one thread at a time, the one that made it. While a function runs it
// may call the application's pump hook (TVLSetPumpHook); a hook must not call into the connection.

#include <tvlclient/errors.h>
#include <tvlclient/export.h>
#include <tvlclient/library_version.h>

#ifdef __cplusplus
extern "C" {
#endif

// Connects the process to a store that is a directory tree.
//
// `workingDirectory`: where files are fetched to; made if its parent exists. Empty: the store's own folder is
// used in place and nothing is transferred; the buffer is then filled in and needs room for 260 bytes.
// `configFile`: the store's INI file. `className`: the client class, of which 4 characters count.
// 0; 9 if the process is connected already; 3, 4, 5, 6 for a configuration that cannot be used; 21 if the
// full path of the working directory does not fit.
TVL_API int TVLConnect2Dir(char* workingDirectory, char* configFile, char* className);

// Connects the process to a store behind a TCP server.
//
// `workingDirectory`: where files are fetched to; made if its parent exists. Where it is empty, or its full
// path does not fit, the connection stands and every transfer gives 21.
// `configFile` is not read: the server gives the settings. `host`: a name or an address. `clientTag` goes to
// the server as it is. 0, 9, 10 if the server cannot be reached, 11, 12, or the code with which the server
// refuses.
TVL_API int TVLConnect2Tcp(char* workingDirectory, char* configFile, char* host, unsigned int port,
                           char* className, char* clientTag);

// Ends the current connection with its presence and its locks. 0, or 8 without a connection.
TVL_API int TVLCloseConnection(void);

// Names of the store and number of this instance in it.
//
// `shortName`: room for 64 bytes. `longName`: room for 256. Each pointer may be null. 0, or 8.
TVL_API int TVLConnectionInfos(char* shortName, char* longName, int* instanceId);

// Asks for the lock on `object`, a name of 1 to 32 bytes.
//
// 0 says only that the question could be asked; the answer is `state`: 1 this instance holds the lock, 2
// another instance on this computer does, 3 another computer does, 0 nobody can (no lock table). The other
// outputs describe the holder: `computer` room for 64 bytes, `ipAddress` 16, `user` 65. Each output may be
// null; all are cleared first, also when the result is 8 (no connection).
//
// A connection without presence, because its marker could not be created, gets state 1 as well, but other
// clients take the lock all the same. Ask TVLIsPresent, or TVLHoldsLock after the lock, before relying on it.
TVL_API int TVLLockObject(char* object, int* state, char* computer, int* instance, int* pid, char* ipAddress,
                          char* user);

// Gives the lock on `object` back if this instance holds it; never takes another's away.
//
// Outputs as for TVLLockObject, told after the try: `state` 0 means that no lock stands any more.
TVL_API int TVLUnlockObject(char* object, int* state, char* computer, int* instance, int* pid,
                            char* ipAddress, char* user);

// Fetches `remoteName` of the store as `localName` below the working directory.
//
// A null or empty `localName` means the same name. `transferred` must not be null. In: not 0 forces the
// transfer, 0 lets the store's compare policy decide. Out: 1 copied, 0 found the same; unchanged after a
// failure and where store and working directory are one. Missing folders are made. 0, 8, 20, 22, 27, 28; over
// TCP also 11, 12, 21 and whatever the server answers.
TVL_API int TVLGetFile(char* remoteName, char* localName, int* transferred);

// Stores `localName` of the working directory as `remoteName`. Arguments, `transferred` and results as
// TVLGetFile; the name on the store comes first here too. A local folder makes a folder on a directory store
// and moves nothing; over TCP it gives 21.
TVL_API int TVLPutFile(char* remoteName, char* localName, int* transferred);

// Text of a code, in the system's own language; "Errore sconosciuto" for a number without one. The text is
// Latin-1 and lives as long as the library. Any thread.
TVL_API char* TVLGetErrorString(int code);

// Size and SHA-1 of the file at `path`: the size in hexadecimal, a bar and 40 hexadecimal digits; "@" if it
// can't be examined. The text stands in a buffer of the calling thread until its next call.
TVL_API char* GetFileSignature(char* path);

// Version, build and total (version.h tells their form) from the version resource of an executable of the PE
// formats, or from a store's version file. Outputs may be null; they are 0 where nothing was found. 1 if the
// resource or the file could be read, else 0. Any thread.
TVL_API int TVLGetVersionFromTavolisWinExe(char* path, int* version, int* build, int* total);
TVL_API int TVLGetVersionFromFile(char* path, int* version, int* build, int* total);

// --- Additions of this implementation ---

// Returns the version of the library that the program runs with, as TVLCLIENT_VERSION is that of the headers
// it was compiled with: 10203 is version 1.2.3. Any thread.
TVL_API int TVLLibraryVersion(void);

// Returns 1 if the current connection is present in the store, else 0, also without a connection. Without
// presence a lock counts for nobody else, although TVLLockObject answers state 1. Over TCP, presence lasts as
// long as the connection.
TVL_API int TVLIsPresent(void);

// Returns 1 if the current connection holds the lock on `object` in the eyes of all other clients, else 0,
// also without a connection. Changes nothing. On a directory store it reads marker and lock table, and waits
// up to 10 s for a busy table; over TCP it never waits, and means that the connection is alive and the
// server's last answer for this object was 1.
TVL_API int TVLHoldsLock(const char* object);

// One turn of the application's own event loop; must not wait.
typedef void (*TVLPumpHook)(void* userData);

// Has `hook` called with `userData` wherever long work lets the application breathe. Null takes it away. The
// hook belongs to the calling thread: it is called on this thread only, by operations that run here.
TVL_API void TVLSetPumpHook(TVLPumpHook hook, void* userData);

// How files fetched over TCP are written, by every connection of the process: 0, the default, in place; 1
// into a new file that then takes the target's name, so nobody sees half a file; 2 the same, and on the disk
// before the call returns. A directory connection has this setting in its configuration (SafeOnTransfert).
// Any thread.
TVL_API void TVLSetSafeTransfers(int level);

// Asked between two entries of long work; returns 0 to go on, anything else to stop.
typedef int (*TVLStopHook)(void* userData);

// Has `hook` asked with `userData` between two entries of every copy of a tree, removal of a tree,
// SizeofDosDir and synchronisation. When it says so, the operation ends there with TVL_ERR_STOPPED
// (SizeofDosDir returns the sum so far) and what was done stays; an open of a synchronisation then plans
// nothing. Null removes the hook. It belongs to the calling thread and is asked on this thread only.
TVL_API void TVLSetStopHook(TVLStopHook hook, void* userData);

// Ends a wait over TCP in which the server has sent nothing for `seconds`; 0, the default, waits for ever.
// The connection is lost then, and the operation returns what it returns for a lost connection:
// TVL_ERR_TCP_CONNECT, TVL_ERR_TCP_SEND or TVL_ERR_TCP_RECEIVE. Looking up the name of a host is not covered.
//
// For all connections of the process. Any thread, and signal handlers: a wait of the thread that a signal
// interrupts takes the new limit at once.
TVL_API void TVLSetTimeout(unsigned int seconds);

// Lets gets and puts over TCP have up to `chunks` chunks on their way beyond the one whose answer is awaited;
// 8 at most. With 0, the default, each chunk waits for the answer to the one before, which on a line with a
// long round trip takes most of the time. Servers that do not know such windows are used without one.
//
// For all connections of the process that are opened from now on. Any thread.
TVL_API void TVLSetTransferWindow(unsigned int chunks);

// Why the calling thread's last operation on a file or a connection failed: the operating system's error
// number (errno), 0 if none has failed since the last call. `path` (buffer of `pathSize` bytes, may be null)
// receives the file's name, cut to fit, and the empty text for a connection. Asking clears it, so a caller
// that wants to report more than a code asks once before and once after.
TVL_API int TVLLastFileError(char* path, unsigned int pathSize);

#ifdef __cplusplus
}
#endif

#endif
