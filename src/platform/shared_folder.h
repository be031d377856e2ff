#ifndef TVL_PLATFORM_SHARED_FOLDER_H
#define TVL_PLATFORM_SHARED_FOLDER_H

namespace tvl {

// Creates one folder with the read, write, search and setgid bits of its parent, regardless of the umask, so
// that all users of the parent can use it too. Does not set the sticky bit, because in a sticky folder nobody
// can remove the marker of another user's dead client. Returns false if the folder cannot be created or its
// bits cannot be set, and records the reason unless the folder exists.
bool CreateSharedFolder(const char* path);

}  // namespace tvl

#endif
