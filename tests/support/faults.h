#ifndef TVL_TESTS_SUPPORT_FAULTS_H
#define TVL_TESTS_SUPPORT_FAULTS_H

#ifdef _WIN32
#include "support/no_faults.h"
#else

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <type_traits>

#include "host/system_calls.h"

constexpr bool kHasFaults = true;

// For tests that check for descriptors left open.
inline long OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// An implementation of any entry of host/system_calls.h that always fails: `System().open = Failing<EIO>();`.
template <int Error>
struct Failing {
  template <typename Result, typename... Arguments>
  using Call = Result (*)(Arguments...);

  template <typename Result, typename... Arguments>
  operator Call<Result, Arguments...>() const {
    return [](Arguments...) -> Result {
      errno = Error;
      return -1;
    };
  }
};

// Makes one system call of host/system_calls.h fail, or all calls from that one on.
class Faults {
 public:
  enum class Span { kOne, kFromThereOn };

  // `at` counts all kinds of calls, from 1.
  Faults(int at, int error, Span span = Span::kOne) {
    State& state = Get();
    state = {tvl::System(), at, error, span, 0, nullptr};
    tvl::ForEachSystemCall([]<auto Entry>(const char* name) { Wrap<Entry>(name); });
  }
  ~Faults() { tvl::System() = Get().real; }
  Faults(const Faults&) = delete;
  Faults& operator=(const Faults&) = delete;

  // Returns the name of the call that failed first, or null if none did.
  static const char* Hit() { return Get().hit; }

 private:
  struct State {
    tvl::SystemCalls real;
    int at;
    int error;
    Span span;
    int calls;
    const char* hit;
  };

  static State& Get() {
    static State state = {};
    return state;
  }

  static bool Strikes(const char* name) {
    State& state = Get();
    const int call = ++state.calls;
    if (state.span == Span::kOne ? call != state.at : call < state.at) return false;
    if (state.hit == nullptr) state.hit = name;
    return true;
  }

  template <auto Entry>
  struct Wrapper;

  template <typename Result, typename... Arguments, Result (*tvl::SystemCalls::*Entry)(Arguments...)>
  struct Wrapper<Entry> {
    static inline const char* name = nullptr;

    static Result Call(Arguments... arguments) {
      if (!Strikes(name)) return (Get().real.*Entry)(arguments...);
      // A close that fails still closes the descriptor.
      if constexpr (std::is_same_v<Result(Arguments...), int(int)>) {
        if (Entry == &tvl::SystemCalls::close) Get().real.close(arguments...);
      }
      errno = Get().error;
      if constexpr (std::is_pointer_v<Result>) {
        return nullptr;
      } else {
        return -1;
      }
    }
  };

  template <auto Entry>
  static void Wrap(const char* name) {
    Wrapper<Entry>::name = name;
    tvl::System().*Entry = Wrapper<Entry>::Call;
  }
};

// Runs an operation of which a call fails, and expects that it leaves no descriptor open. Returns its result;
// Faults::Hit() has the name of the call.
template <typename Operation>
auto WithFault(int at, int error, Faults::Span span, Operation operation) {
  const long descriptors = OpenDescriptors();
  const auto result = [&] {
    const Faults faults(at, error, span);
    return operation();
  }();
  EXPECT_EQ(OpenDescriptors(), descriptors) << "call " << at << ", error " << error;
  return result;
}

template <typename Operation>
auto WithFault(int at, int error, Operation operation) {
  return WithFault(at, error, Faults::Span::kOne, operation);
}

// Makes renames to names that end like this fail.
class FailingRename {
 public:
  // `loses_part`: only the first, because another process removes the old name.
  explicit FailingRename(const char* end, bool loses_part = false) {
    end_ = end;
    loses_part_ = loses_part;
    real_ = tvl::System().renameat_noreplace;
    tvl::System().renameat_noreplace = [](int from_folder, const char* from, int to_folder, const char* to) {
      if (!std::string_view(to).ends_with(end_)) return real_(from_folder, from, to_folder, to);
      if (loses_part_) {
        end_ = "/";
        unlinkat(from_folder, from, 0);
        return real_(from_folder, from, to_folder, to);
      }
      errno = EIO;
      return -1;
    };
  }
  ~FailingRename() { tvl::System().renameat_noreplace = real_; }
  FailingRename(const FailingRename&) = delete;
  FailingRename& operator=(const FailingRename&) = delete;

 private:
  using Call = int (*)(int, const char*, int, const char*);
  static inline std::string_view end_;
  static inline bool loses_part_ = false;
  static inline Call real_ = nullptr;
};

// While it exists, the times of files of `size` bytes cannot be set by name.
class FailingTimes {
 public:
  explicit FailingTimes(off_t size) {
    size_ = size;
    real_ = tvl::System().utimensat;
    tvl::System().utimensat = [](int folder, const char* name, const timespec times[2], int flags) {
      struct stat status = {};
      if (fstatat(folder, name, &status, flags) == 0 && status.st_size != size_)
        return real_(folder, name, times, flags);
      errno = EIO;
      return -1;
    };
  }
  ~FailingTimes() { tvl::System().utimensat = real_; }
  FailingTimes(const FailingTimes&) = delete;
  FailingTimes& operator=(const FailingTimes&) = delete;

 private:
  static inline off_t size_ = 0;
  static inline decltype(tvl::SystemCalls::utimensat) real_ = nullptr;
};

#endif

#endif
