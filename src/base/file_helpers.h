#ifndef TVL_BASE_FILE_HELPERS_H
#define TVL_BASE_FILE_HELPERS_H

// Questions about files. They report no error: a failure turns into the neutral answer.

// 1 if the path exists and is a directory, also through a link.
int IsDirectory(const char* path);

// 1 if the path exists, be it a file, a directory or a link.
int FileExists(const char* path);

// The low 32 bits of the file's size; 0 if it can't be opened for reading.
int FileLength(const char* path);

#endif
