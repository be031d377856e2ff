#ifndef TVL_ENGINE_CURRENT_RECORD_H
#define TVL_ENGINE_CURRENT_RECORD_H

#include <span>
#include <string>
#include <vector>

#include <tvlclient/record.h>

namespace tvl::engine {

// The memory that field calls work on, and how it is cut up. One for each thread.
class CurrentRecord {
 public:
  // The calling thread's; freed when the thread ends, never by unloading. Throws std::bad_alloc.
  static CurrentRecord& OfThread();

  // False for a schema that can't be read; the memory is taken all the same, without fields.
  [[nodiscard]] bool Set(const char* schema, void* record, int length);

  [[nodiscard]] const _format_* Find(const char* name) const;
  [[nodiscard]] const _format_* At(int index) const;

  [[nodiscard]] unsigned char* Memory() const { return memory_; }
  [[nodiscard]] int Length() const { return length_; }

 private:
  std::string schema_;
  std::vector<_format_> fields_;
  unsigned char* memory_ = nullptr;
  int length_ = 0;
};

}  // namespace tvl::engine

#endif
