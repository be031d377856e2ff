#include "engine/current_record.h"

#include <pthread.h>

#include <cstddef>
#include <memory>

#include "record/schema.h"

namespace tvl::engine {
namespace {

// A plain pointer with a destructor that runs at the end of a thread: exit() destroys the thread-local
// objects of the main thread before the last calls arrive, but runs no thread-specific destructors.
thread_local CurrentRecord* ofThread = nullptr;

void Free(void* record) {
  delete static_cast<CurrentRecord*>(record);
  ofThread = nullptr;
}

pthread_key_t FreeAtThreadEnd() {
  pthread_key_t key = {};
  pthread_key_create(&key, Free);
  return key;
}

}  // namespace

CurrentRecord& CurrentRecord::OfThread() {
  static const pthread_key_t key = FreeAtThreadEnd();
  if (ofThread == nullptr) {
    ofThread = new CurrentRecord;
    pthread_setspecific(key, ofThread);
  }
  return *ofThread;
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
