#ifndef TVL_PLATFORM_WINDOWS_REPLACE_FILE_H
#define TVL_PLATFORM_WINDOWS_REPLACE_FILE_H

namespace tvl {

enum class Replacement {
  kDone,
  kFailed,
  kPartLost,  // another process removed the part
  kAppeared,  // the target exists although it must not
};

// Renames the closed file `part` to `target`, which must not exist if `must_be_new` is set. Both are host
// paths.
//
// Fails if the target is held. While a program has the target open in a way that prevents its replacement,
// tries again for 10 s. After a failure the part is removed if the old target still exists; otherwise it is
// kept, and its name is recorded with the failure (last_error.h).
[[nodiscard]] Replacement ReplaceFile(const char* part, const char* target, bool must_be_new);

// The same without a look at holds. Returns 0 or an errno value, and leaves the part after a failure.
[[nodiscard]] int RenamePart(const char* part, const char* target);

}  // namespace tvl

#endif
