#ifndef TVLCLIENT_ERRORS_H
#define TVLCLIENT_ERRORS_H

// Results of the free functions and of every operation of a connection: 0, or why not. There is no stored
// error state and nothing is thrown: the code is the whole report. TVLGetErrorString gives the text of a
// code, and docs/errors.md cause and remedy of each. A TCP server's codes reach the caller unchanged, so any
// number may come.
enum {
  TVL_OK = 0,
  TVL_ERR_NOT_SUPPORTED = 1,   // this kind of connection does not offer the operation
  TVL_ERR_NO_CONFIG = 2,       // status of a configuration that holds no loaded file; no operation returns it
  TVL_ERR_ROOT_UNDEFINED = 3,  // configuration: no file, or no document root in it
  TVL_ERR_ROOT_INVALID = 4,    // configuration: the document root is no folder and cannot be made one
  TVL_ERR_TMP_UNDEFINED = 5,   // configuration: no temporary folder
  TVL_ERR_TMP_INVALID = 6,     // configuration: the temporary folder is none and cannot be made one
  TVL_ERR_CONFIG_INVALID = 7,  // reserved; no operation returns it
  TVL_ERR_NOT_CONNECTED = 8,   // no connection, or one that is not open
  TVL_ERR_ALREADY_CONNECTED = 9,  // the process has its current connection already
  TVL_ERR_TCP_CONNECT = 10,       // the server cannot be reached
  TVL_ERR_TCP_SEND = 11,          // sending to the server failed
  TVL_ERR_TCP_RECEIVE = 12,       // no usable reply came from the server
  TVL_ERR_BAD_PATH = 18,          // a path that cannot be used for the operation
  TVL_ERR_IN_CACHE = 19,          // a server's word that the copy at hand is current; callers see TVL_OK
  TVL_ERR_SERVER_FILE = 20,       // a file, folder or table of the store cannot be reached or changed
  TVL_ERR_LOCAL_FILE = 21,        // a local file or folder cannot be reached
  TVL_ERR_COPY = 22,              // a plain copy failed
  TVL_ERR_DELETE_FILE = 23,       // a file of a tree cannot be deleted, or a table not be made anew
  TVL_ERR_DELETE_DIR = 24,        // a folder of a tree cannot be removed
  TVL_ERR_CREATE_DIR = 25,        // a folder of the store cannot be made
  TVL_ERR_ZIP = 27,               // compressing a file failed
  TVL_ERR_UNZIP = 28,             // expanding a file failed
  TVL_ERR_RS_OPEN = 30,           // the record set is not open
  TVL_ERR_RS_ALREADY_OPEN = 31,   // reserved; no operation returns it
  TVL_ERR_RS_FORMAT = 32,         // reserved; no operation returns it
  TVL_ERR_RS_READ = 33,           // reserved; no operation returns it
  TVL_ERR_RS_WRITE = 34,          // a row could not be written
  TVL_ERR_RS_DELETE = 35,         // a row could not be deleted
  TVL_ERR_STOPPED = 40  // addition: the application's stop hook ended the operation (TVLSetStopHook)
};

#endif
