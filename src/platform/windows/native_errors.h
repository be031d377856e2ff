#ifndef TVL_PLATFORM_WINDOWS_NATIVE_ERRORS_H
#define TVL_PLATFORM_WINDOWS_NATIVE_ERRORS_H

namespace tvl::native {

// Returns the errno value for a code of GetLastError; EIO for one that has none.
[[nodiscard]] int ErrnoOf(unsigned long code);

// The same for the last failed call of this thread, never 0.
[[nodiscard]] int LastProblem();

}  // namespace tvl::native

#endif
