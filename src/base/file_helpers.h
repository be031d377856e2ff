#ifndef TVL_BASE_FILE_HELPERS_H
#define TVL_BASE_FILE_HELPERS_H

// Queries about files. They report no errors: on failure they return the neutral answer.

// Returns 1 if the path is a folder or a link to one, else 0.
int IsDirectory(const char* path);

// Returns 1 if the path exists, as a file, a folder or a link, else 0.
int FileExists(const char* path);

// Returns the low 32 bits of the size of the file; 0 if it cannot be opened for reading.
int FileLength(const char* path);

#endif
