#ifndef TVLCLIENT_ERRORS_H
#define TVLCLIENT_ERRORS_H

// Results of the free functions and of every operation of a connection. There is no stored error state and
// nothing is thrown. TVLGetErrorString returns the text of a code, and docs/errors.md describes cause and
// remedy of each. Codes from a TCP server are returned unchanged, so any number is possible.
enum {
  TVL_OK = 0,
  TVL_ERR_NOT_SUPPORTED = 1,      // the operation is not available on this kind of connection
  TVL_ERR_NO_CONFIG = 2,          // status of a configuration without a loaded file; no operation returns it
  TVL_ERR_ROOT_UNDEFINED = 3,     // configuration: no file, or no document root in it
  TVL_ERR_ROOT_INVALID = 4,       // configuration: the document root is not a folder and cannot be created
  TVL_ERR_TMP_UNDEFINED = 5,      // configuration: no temporary folder
  TVL_ERR_TMP_INVALID = 6,        // configuration: the temporary folder is not a folder and cannot be created
  TVL_ERR_CONFIG_INVALID = 7,     // reserved; no operation returns it
  TVL_ERR_NOT_CONNECTED = 8,      // no connection, or one that is not open
  TVL_ERR_ALREADY_CONNECTED = 9,  // the process already has its current connection
  TVL_ERR_TCP_CONNECT = 10,       // the server cannot be reached
  TVL_ERR_TCP_SEND = 11,          // sending to the server failed
  TVL_ERR_TCP_RECEIVE = 12,       // the server sent no usable reply
  TVL_ERR_BAD_PATH = 18,          // a path that cannot be used for the operation
  TVL_ERR_IN_CACHE = 19,          // a server's reply that the local copy is up to date; callers get TVL_OK
  TVL_ERR_SERVER_FILE = 20,       // a file, folder or table of the store cannot be accessed or changed
  TVL_ERR_LOCAL_FILE = 21,        // a local file or folder cannot be accessed
  TVL_ERR_COPY = 22,              // a plain copy failed
  TVL_ERR_DELETE_FILE = 23,       // a file of a tree cannot be deleted, or a table cannot be replaced
  TVL_ERR_DELETE_DIR = 24,        // a folder of a tree cannot be removed
  TVL_ERR_CREATE_DIR = 25,        // a folder of the store cannot be created
  TVL_ERR_ZIP = 27,               // compressing a file failed
  TVL_ERR_UNZIP = 28,             // decompressing a file failed
  TVL_ERR_RS_OPEN = 30,           // the record set is not open
  TVL_ERR_RS_ALREADY_OPEN = 31,   // reserved; no operation returns it
  TVL_ERR_RS_FORMAT = 32,         // C interface: an invalid schema, or a value that does not fit its field
  TVL_ERR_RS_READ = 33,           // C interface: a table is damaged, so rows cannot be read
  TVL_ERR_RS_WRITE = 34,          // a row could not be written
  TVL_ERR_RS_DELETE = 35,         // a row could not be deleted
  TVL_ERR_STOPPED = 40,       // addition: the application's stop hook ended the operation (TVLSetStopHook)
  TVL_ERR_STORE_EXISTS = 41,  // addition: a store exists where one is to be created
  TVL_ERR_STORE_IN_USE = 42,  // addition: clients are connected to a store that is to be changed
  // Additions that only the C interface with handles returns (tvlc.h).
  TVL_ERR_ARGUMENT = 43,    // an argument is null, too long or out of range
  TVL_ERR_BUSY = 44,        // the handle is used inside a callback, or has unfinished work
  TVL_ERR_MEMORY = 45,      // memory ran out
  TVL_ERR_LOCKED = 46,      // another instance has the lock
  TVL_ERR_NO_PRESENCE = 47  // other clients would ignore the lock
};

#endif
