#ifndef TVL_ENGINE_LAYOUT_H
#define TVL_ENGINE_LAYOUT_H

namespace tvl::engine {

// The limits follow from the callers' buffers: 6144 bytes for a record and its NUL, 1024 for a key and its
// NUL.
constexpr int kLongestRecord = 6143;
constexpr int kLongestKey = 1023;

// The fixed lengths of a table.
struct Layout {
  int record = 0;
  int key1 = 0;
  int key2 = 0;

  [[nodiscard]] bool IsValid() const {
    return record >= 1 && record <= kLongestRecord && key1 >= 1 && key1 <= kLongestKey && key2 >= 0 &&
           key2 <= kLongestKey;
  }
};

}  // namespace tvl::engine

#endif
