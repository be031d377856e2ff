#include "engine/current_record.h"

#include <cstddef>
#include <memory>

#include "engine/system.h"
#include "record/schema.h"

namespace tvl::engine {
namespace {

thread_local CurrentRecord* of_thread = nullptr;

void Free(void* record) {
  delete static_cast<CurrentRecord*>(record);
  of_thread = nullptr;
}

}  // namespace

CurrentRecord& CurrentRecord::OfThread() {
  if (of_thread == nullptr) {
    of_thread = new CurrentRecord;
    FreeAtThreadEnd(of_thread, Free);
  }
  return *of_thread;
}

bool CurrentRecord::Set(const char* schema, void* record, int length) {
  memory_ = static_cast<unsigned char*>(record);
  // Programs set the same schema for record after record.
  if (length == length_ && schema_ == schema) return !fields_.empty();
  length_ = length;
  schema_.clear();
  fields_.clear();
  std::vector<_format_> fields(CountFields(schema));
  if (!fields.empty() && ParseSchema(schema, length, fields)) fields_ = std::move(fields);
  schema_ = schema;
  return !fields_.empty();
}

const _format_* CurrentRecord::Find(const char* name) const {
  return FindField(fields_, name);
}

const _format_* CurrentRecord::At(int index) const {
  const bool exists = index >= 0 && static_cast<std::size_t>(index) < fields_.size();
  return exists ? &fields_[static_cast<std::size_t>(index)] : nullptr;
}

}  // namespace tvl::engine
