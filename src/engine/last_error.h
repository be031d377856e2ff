#ifndef TVL_ENGINE_LAST_ERROR_H
#define TVL_ENGINE_LAST_ERROR_H

namespace tvl::engine {

// What kind of failure it was. The numbers are those of GetLastProblem.
enum class Problem {
  kNone = 0,
  kNotFound = 1,
  kBusy = 2,
  kReadOnly = 3,
  kDamaged = 4,
  kUnusable = 5,
};

// Forgets the calling thread's problem when a call begins; the text stays.
void ClearProblem() noexcept;

// Keeps why the calling thread's call fails, cut to 255 bytes.
void NoteError(const char* reason, Problem problem = Problem::kUnusable) noexcept;

// The same, followed by the text for errno.
void NoteSystemError(const char* action, Problem problem = Problem::kUnusable) noexcept;

const char* LastErrorText() noexcept;
Problem LastProblem() noexcept;

}  // namespace tvl::engine

#endif
