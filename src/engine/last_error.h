#ifndef TVL_ENGINE_LAST_ERROR_H
#define TVL_ENGINE_LAST_ERROR_H

namespace tvl::engine {

// The kind of a failure. The numbers are those of GetLastProblem.
enum class Problem {
  kNone = 0,
  kNotFound = 1,
  kBusy = 2,
  kReadOnly = 3,
  kDamaged = 4,
  kUnusable = 5,
};

// Clears the problem of the calling thread at the start of a call, but not the text.
void ClearProblem() noexcept;

// Stores why the call of the calling thread fails, cut to 255 bytes.
void NoteError(const char* reason, Problem problem = Problem::kUnusable) noexcept;

// The same, followed by the text for errno.
void NoteSystemError(const char* action, Problem problem = Problem::kUnusable) noexcept;

const char* LastErrorText() noexcept;
Problem LastProblem() noexcept;

}  // namespace tvl::engine

#endif
