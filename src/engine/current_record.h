#ifndef TVL_ENGINE_CURRENT_RECORD_H
#define TVL_ENGINE_CURRENT_RECORD_H

#include <span>
#include <string>
#include <vector>

#include <tvlclient/record.h>

namespace tvl::engine {

// The memory that field calls access, and its fields. Each thread has one.
class CurrentRecord {
 public:
  // Returns the current record of the calling thread. It is freed when the thread ends, but not when the
  // module is unloaded. Throws std::bad_alloc.
  static CurrentRecord& OfThread();

  // Returns false for an invalid schema; then the record is set without fields.
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
