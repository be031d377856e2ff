#ifndef TVL_PLATFORM_POSIX_RENAME_H
#define TVL_PLATFORM_POSIX_RENAME_H

namespace tvl {

// Renames the entry `from` of an open folder to `to` in another one, unless `to` exists. Both names are host
// paths, and a folder may be AT_FDCWD. Returns 0 or an errno value, EEXIST if the name is taken. For the
// platform layer only.
[[nodiscard]] int RenameUnlessTaken(int from_folder, const char* from, int to_folder, const char* to);

}  // namespace tvl

#endif
