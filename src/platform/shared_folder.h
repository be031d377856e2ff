#ifndef TVL_PLATFORM_SHARED_FOLDER_H
#define TVL_PLATFORM_SHARED_FOLDER_H

namespace tvl {

// Creates one folder with the read, write, search and setgid bits of the folder above, whatever the umask:
// everyone who works there must be able to work here too. The sticky bit is not taken over, since in a sticky
// folder nobody can remove the marker of another user's dead client. Returns false, and notes why
// unless it exists, if the folder cannot be created or cannot be given those bits.
bool CreateSharedFolder(const char* path);

}  // namespace tvl

#endif
