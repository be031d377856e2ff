#ifndef TVL_PLATFORM_SHARED_FOLDER_H
#define TVL_PLATFORM_SHARED_FOLDER_H

#include <string_view>

namespace tvl {

// Creates one folder with the read, write, search and setgid bits of its parent, regardless of the umask, so
// that all users of the parent can use it too. Does not set the sticky bit, because in a sticky folder nobody
// can remove the marker of another user's dead client. Returns false if the folder cannot be created or its
// bits cannot be set, and records the reason unless the folder exists.
bool CreateSharedFolder(const char* path);

// Lets the members of a group, where the system has those, work in a folder and in what is created in it.
// Returns false and records the reason on failure.
bool ShareWithGroup(const char* path, int group);

// Creates a file with these contents, synced, with the read and write bits of its folder regardless of the
// umask. Returns false and records the reason on failure; then it has removed a file that it created.
bool CreateSharedFile(const char* path, std::string_view contents);

}  // namespace tvl

#endif
